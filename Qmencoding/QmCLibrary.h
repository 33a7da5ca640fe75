// The library loader of the text library: loads a shared library by name and
// finds a procedure in it. The library stays loaded while the object lives.
#ifndef QMENCODING_QMCLIBRARY_H
#define QMENCODING_QMCLIBRARY_H

/// The form of a loaded procedure: one pointer argument, no result.
using QmCProcedure = void (*)(void*);

/// A dynamically loaded library and one procedure of it.
class QmCLibrary {
 public:
  /// Loads `library` and finds `procedure` when they are not null.
  QmCLibrary(const char* library, const char* procedure);
  /// Unloads the library.
  ~QmCLibrary();
  QmCLibrary(const QmCLibrary&) = delete;
  QmCLibrary& operator=(const QmCLibrary&) = delete;

  /// Loads `library` (a path, or a name the dynamic loader finds); true on success.
  bool Load(const char* library);
  /// Finds `procedure` in the loaded library; true when found.
  bool LoadProc(const char* procedure);
  /// The procedure found by LoadProc, or null.
  QmCProcedure operator()() const { return procedure_; }

 private:
  void* handle_ = nullptr;
  QmCProcedure procedure_ = nullptr;
};

#endif
