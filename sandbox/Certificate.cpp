#include "sandbox/Certificate.h"

#include <chrono>
#include <fstream>
#include <stdexcept>
#include <vector>

#include "sandbox/ChildProcess.h"

namespace halcyra::sandbox {

namespace {

void runOpenSSL(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "openssl");
  ChildProcess command({arguments});
  const auto ending = command.wait(std::chrono::seconds(30));
  if (!ending || ending->status != 0) {
    throw std::runtime_error("openssl could not make a certificate: " + command.errors());
  }
}

}  // namespace

Certificate makeCertificate(const std::filesystem::path& folder, const std::string& hostName) {
  const Certificate result{folder / "ca.pem", folder / "server.pem", folder / "server.key"};
  const std::string settings = folder / "openssl.cnf";
  const std::string authorityKey = folder / "ca.key";
  std::ofstream(settings) << "[req]\ndistinguished_name=name\nprompt=no\n"
                             "[name]\nCN=Halcyra sandbox\n"
                             "[authority]\nbasicConstraints=critical,CA:TRUE\n"
                             "keyUsage=critical,keyCertSign\nsubjectKeyIdentifier=hash\n"
                             "[server]\nbasicConstraints=CA:FALSE\n"
                             "extendedKeyUsage=serverAuth\nauthorityKeyIdentifier=keyid\n"
                             "subjectAltName=DNS:"
                          << hostName << "\n";
  const std::vector<std::string> shared{"req",
                                        "-x509",
                                        "-nodes",
                                        "-days",
                                        "2",
                                        "-config",
                                        settings,
                                        "-newkey",
                                        "ec",
                                        "-pkeyopt",
                                        "ec_paramgen_curve:prime256v1"};
  std::vector<std::string> authority = shared;
  for (const std::string& word :
       {std::string("-extensions"), std::string("authority"), std::string("-keyout"), authorityKey,
        std::string("-out"), result.authority.string()}) {
    authority.push_back(word);
  }
  runOpenSSL(authority);
  std::vector<std::string> server = shared;
  for (const std::string& word :
       {std::string("-extensions"), std::string("server"), std::string("-CA"),
        result.authority.string(), std::string("-CAkey"), authorityKey, std::string("-keyout"),
        result.key.string(), std::string("-out"), result.certificate.string()}) {
    server.push_back(word);
  }
  runOpenSSL(server);
  return result;
}

}  // namespace halcyra::sandbox
