#include "platform/linux/SharedLibrary.h"

#include <dlfcn.h>

#include <string>

namespace halcyra {

SharedLibrary::SharedLibrary(const char* name, const char* package)
    : name_(name), package_(package), handle_(dlopen(name, RTLD_LAZY | RTLD_LOCAL)) {
  if (handle_ == nullptr) throw unusable(reason(dlerror()), "install");
}

SharedLibrary::Symbol SharedLibrary::operator[](const char* function) const {
  void* const address = dlsym(handle_, function);
  if (address == nullptr) throw unusable(std::string("it lacks ") + function, "update");
  return Symbol(address);
}

// The loader's words, which begin with the name of the library that it could not load: this one, or
// one that this one needs.
std::string SharedLibrary::reason(const char* words) const {
  const std::string text = words ? words : "no reason is known";
  const std::string own = std::string(name_) + ": ";
  return text.starts_with(own) ? text.substr(own.size()) : text;
}

LibraryError SharedLibrary::unusable(const std::string& reason, const char* action) const {
  return LibraryError(std::string("The library ") + name_ + " cannot be used (" + reason + "); " +
                      action + " the package " + package_ + ".");
}

}  // namespace halcyra
