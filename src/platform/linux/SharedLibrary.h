#pragma once

#include <stdexcept>
#include <string>

namespace halcyra {

/// `what()` names the library and the package that brings it.
class LibraryError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A library of the system that only some uses of the program need. It is loaded when one of them
/// comes up, since it brings many others along: they cost each start time and each process memory.
/// Stays loaded until the process ends.
class SharedLibrary {
 public:
  /// The address of a function, as a pointer of whatever type it is stored in.
  class Symbol {
   public:
    explicit Symbol(void* address) : address_(address) {}

    template <class Function>
    operator Function*() const {
      return reinterpret_cast<Function*>(address_);
    }

   private:
    void* address_;
  };

  /// `package` is the Debian package to name when the library is absent. Throws LibraryError.
  SharedLibrary(const char* name, const char* package);

  /// A function of the library or of one that it depends on. Throws LibraryError.
  Symbol operator[](const char* function) const;

 private:
  std::string reason(const char* words) const;
  LibraryError unusable(const std::string& reason, const char* action) const;

  const char* name_;
  const char* package_;
  void* handle_;
};

}  // namespace halcyra
