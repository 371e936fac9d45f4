#include "platform/linux/SharedLibrary.h"

#include <dlfcn.h>

#include <string>

namespace halcyra {

SharedLibrary::SharedLibrary(const char* name, const char* package)
    : name_(name), package_(package), handle_(dlopen(name, RTLD_LAZY | RTLD_LOCAL)) {
  if (handle_ == nullptr) throw unusable("install");
}

SharedLibrary::Symbol SharedLibrary::operator[](const char* function) const {
  void* const address = dlsym(handle_, function);
  if (address == nullptr) throw unusable("update");
  return Symbol(address);
}

LibraryError SharedLibrary::unusable(const char* action) const {
  return LibraryError(std::string("The library ") + name_ + " cannot be used; " + action +
                      " the package " + package_ + ".");
}

}  // namespace halcyra
