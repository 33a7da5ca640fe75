// Hooks: callers' pointers attached to an open database by name.
//
// A hook may name a destroy procedure in a shared library, which is loaded
// afresh and called with the hook's data when the hook is deleted or the
// database closes. Hooks live in process memory only and work whether or not
// the database is usable.
//
// Invariants: names are unique (exact, case-sensitive); nodes are grouped by
// the first byte of their names in ascending unsigned order, and within a
// group stand in the order they were added.
#ifndef QMDB_STORE_HOOKTABLE_H
#define QMDB_STORE_HOOKTABLE_H

#include <string>

namespace qmdb::store {

struct Store;

/// The hook table of one store.
class HookTable {
 public:
  explicit HookTable(Store& store) : store_(store) {}
  /// Destroys every hook, calling the destroy procedures.
  ~HookTable() { destroyAll(); }
  HookTable(const HookTable&) = delete;
  HookTable& operator=(const HookTable&) = delete;

  /// Adds a hook; an existing name (or a null one) keeps the table as it was.
  void add(void* data, const char* name, const char* library, const char* procedure);
  /// The data of the hook `name`, by reference; a shared null scratch pointer when
  /// there is none.
  void*& get(const char* name) const;
  /// Removes the hook and runs its destroy procedure.
  void destroy(const char* name);
  /// Removes the hook without running its destroy procedure; its data, or null.
  void* take(const char* name);
  /// A malloc'ed, null-terminated array of malloc'ed copies of the names, in table order.
  char** names() const;
  /// Destroys every hook in table order, then empties the table.
  void destroyAll();
  /// The number of hooks.
  long count() const { return count_; }

 private:
  struct Node {
    Node* next;
    Node* previous;
    std::string name;
    std::string library;
    std::string procedure;
    bool hasLibrary;
    bool hasProcedure;
    void* data;
  };

  Node* find(const char* name) const;
  void unlink(Node* node);
  void runDestroy(const Node& node);

  Store& store_;
  Node* first_ = nullptr;
  Node* last_ = nullptr;
  long count_ = 0;
};

}  // namespace qmdb::store

#endif
