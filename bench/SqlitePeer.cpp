// SQLite as a peer: one table of nodes in document order (id = place in the
// document, parent = id of the element that holds the row; attributes are rows
// right after their element), filled in one transaction; path searches as
// joins by parent id; the index as a table of keys with an index on the key.
#include <sqlite3.h>

#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include "KeyRange.h"
#include "Peer.h"

namespace bench {

namespace {

enum RowKind { kElement = 1, kText = 2, kPi = 4, kAttribute = 5 };

void check(sqlite3* db, int rc, const char* what) {
  if (rc != SQLITE_OK && rc != SQLITE_DONE && rc != SQLITE_ROW) {
    throw std::runtime_error(std::string("SQLite: ") + what + ": " + sqlite3_errmsg(db));
  }
}

void exec(sqlite3* db, const char* sql) {
  check(db, sqlite3_exec(db, sql, nullptr, nullptr, nullptr), sql);
}

// A prepared statement, finalized on scope exit.
class Statement {
 public:
  Statement(sqlite3* db, const char* sql) : db_(db) {
    check(db, sqlite3_prepare_v2(db, sql, -1, &stmt_, nullptr), sql);
  }
  ~Statement() { sqlite3_finalize(stmt_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  sqlite3_stmt* get() { return stmt_; }
  bool step() {
    int rc = sqlite3_step(stmt_);
    check(db_, rc, "step");
    return rc == SQLITE_ROW;
  }
  void reset() {
    sqlite3_reset(stmt_);
    sqlite3_clear_bindings(stmt_);
  }
  // Runs to the end; the number of rows.
  uint64_t count() {
    uint64_t n = 0;
    while (step()) {
      sqlite3_column_int64(stmt_, 0);
      ++n;
    }
    reset();
    return n;
  }

 private:
  sqlite3* db_;
  sqlite3_stmt* stmt_ = nullptr;
};

class SqlitePeer : public Peer {
 public:
  const char* name() const override { return "SQLite"; }
  bool hasIndex() const override { return true; }

  void build(const EventList& list, const std::string& path) override {
    std::remove(path.c_str());
    int rc = sqlite3_open(path.c_str(), &db_);
    check(db_, rc, "open");
    exec(db_,
         "CREATE TABLE nodes(id INTEGER PRIMARY KEY, parent INTEGER NOT NULL, "
         "kind INTEGER NOT NULL, name TEXT, value TEXT)");
    exec(db_, "BEGIN");
    {
      Statement insert(db_, "INSERT INTO nodes VALUES(?1, ?2, ?3, ?4, ?5)");
      sqlite3_stmt* s = insert.get();
      std::vector<int64_t> open{0};
      open.reserve(64);
      int64_t id = 0;
      for (const Event& e : list.events()) {
        if (e.kind == EventKind::kEnd) {
          open.pop_back();
          continue;
        }
        sqlite3_bind_int64(s, 1, ++id);
        sqlite3_bind_int64(s, 2, open.back());
        switch (e.kind) {
          case EventKind::kStart:
            sqlite3_bind_int(s, 3, kElement);
            sqlite3_bind_text(s, 4, list.str(e.name), -1, SQLITE_STATIC);
            open.push_back(id);
            break;
          case EventKind::kAttribute:
            sqlite3_bind_int(s, 3, kAttribute);
            sqlite3_bind_text(s, 4, list.str(e.name), -1, SQLITE_STATIC);
            sqlite3_bind_text(s, 5, list.str(e.value), -1, SQLITE_STATIC);
            break;
          case EventKind::kText:
            sqlite3_bind_int(s, 3, kText);
            sqlite3_bind_text(s, 5, list.str(e.value), -1, SQLITE_STATIC);
            break;
          case EventKind::kPi:
            sqlite3_bind_int(s, 3, kPi);
            sqlite3_bind_text(s, 4, list.str(e.name), -1, SQLITE_STATIC);
            sqlite3_bind_text(s, 5, list.str(e.value), -1, SQLITE_STATIC);
            break;
          case EventKind::kEnd:
            break;
        }
        insert.step();
        insert.reset();
      }
    }
    exec(db_, "COMMIT");
  }

  PathCounts findPaths() override {
    PathCounts counts;
    Statement names(db_,
                    "SELECT n.id FROM nodes n JOIN nodes i ON i.id = n.parent "
                    "WHERE n.kind = 1 AND n.name = 'name' AND i.kind = 1 AND i.name = 'item'");
    counts.itemNames = names.count();
    Statement items(db_,
                    "SELECT i.id FROM nodes i JOIN nodes r ON r.id = i.parent "
                    "JOIN nodes g ON g.id = r.parent JOIN nodes s ON s.id = g.parent "
                    "WHERE i.kind = 1 AND i.name = 'item' AND r.kind = 1 AND g.kind = 1 "
                    "AND g.name = 'regions' AND s.kind = 1 AND s.name = 'site' AND s.parent = 0");
    counts.regionItems = items.count();
    return counts;
  }

  void indexPrepare(const IndexWork& work) override {
    rows_.clear();
    rows_.reserve(work.keyed.size());
    Statement objects(db_, "SELECT id FROM nodes WHERE kind <> 5 ORDER BY id");
    uint64_t ordinal = 0;
    size_t k = 0;
    while (k < work.keyed.size() && objects.step()) {
      if (ordinal++ == work.keyed[k].ordinal) {
        rows_.push_back(sqlite3_column_int64(objects.get(), 0));
        ++k;
      }
    }
    if (rows_.size() != work.keyed.size()) throw std::runtime_error("SQLite: keyed rows lost");
  }

  void indexPut(const IndexWork& work) override {
    exec(db_, "BEGIN");
    exec(db_, "CREATE TABLE keys(key TEXT NOT NULL, node INTEGER NOT NULL)");
    {
      Statement insert(db_, "INSERT INTO keys VALUES(?1, ?2)");
      for (size_t i = 0; i < rows_.size(); ++i) {
        sqlite3_bind_text(insert.get(), 1, work.keyed[i].key.c_str(), -1, SQLITE_STATIC);
        sqlite3_bind_int64(insert.get(), 2, rows_[i]);
        insert.step();
        insert.reset();
      }
    }
    exec(db_, "CREATE INDEX keys_by_key ON keys(key)");
    exec(db_, "COMMIT");
  }

  // A batch of queries runs in one read transaction, so that SQLite checks
  // the file once instead of locking and re-reading its header per query.
  uint64_t indexLookups(const IndexWork& work) override {
    exec(db_, "BEGIN");
    uint64_t found = 0;
    {
      Statement lookup(db_, "SELECT node FROM keys WHERE key = ?1");
      for (uint32_t k : work.lookups) {
        sqlite3_bind_text(lookup.get(), 1, work.keyed[k].key.c_str(), -1, SQLITE_STATIC);
        found += lookup.count();
      }
    }
    exec(db_, "COMMIT");
    return found;
  }

  uint64_t indexRanges(const IndexWork& work) override {
    exec(db_, "BEGIN");
    uint64_t found = 0;
    {
      Statement range(db_, "SELECT node FROM keys WHERE key >= ?1 AND key < ?2 ORDER BY key");
      for (const auto& r : work.ranges) {
        std::string limit = rangeLimit(r.second);
        sqlite3_bind_text(range.get(), 1, r.first.c_str(), -1, SQLITE_STATIC);
        sqlite3_bind_text(range.get(), 2, limit.c_str(), -1, SQLITE_TRANSIENT);
        found += range.count();
      }
    }
    exec(db_, "COMMIT");
    return found;
  }

  void close() override {
    if (db_ != nullptr) sqlite3_close(db_);
    db_ = nullptr;
  }

 private:
  sqlite3* db_ = nullptr;
  std::vector<int64_t> rows_;
};

const char* text(sqlite3_stmt* s, int column) {
  return reinterpret_cast<const char*>(sqlite3_column_text(s, column));
}

}  // namespace

std::unique_ptr<Peer> makeSqlitePeer() {
  return std::make_unique<SqlitePeer>();
}

Digest walkSqlite(const std::string& path) {
  sqlite3* db = nullptr;
  if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
    sqlite3_close(db);
    throw std::runtime_error("SQLite: cannot open " + path);
  }
  Digest d;
  {
    Statement rows(db, "SELECT id, parent, kind, name, value FROM nodes ORDER BY id");
    sqlite3_stmt* s = rows.get();
    std::vector<int64_t> open{0};
    while (rows.step()) {
      int64_t parent = sqlite3_column_int64(s, 1);
      while (open.back() != parent) {
        if (open.size() == 1) throw std::runtime_error("SQLite: row outside its parent");
        d.tag('E');
        open.pop_back();
      }
      switch (sqlite3_column_int(s, 2)) {
        case kElement:
          d.object();
          d.tag('S');
          d.str(text(s, 3));
          open.push_back(sqlite3_column_int64(s, 0));
          break;
        case kAttribute:
          d.tag('A');
          d.str(text(s, 3));
          d.str(text(s, 4));
          break;
        case kText:
          d.object();
          d.tag('T');
          d.str(text(s, 4));
          break;
        case kPi:
          d.object();
          d.tag('P');
          d.str(text(s, 3));
          d.str(text(s, 4));
          break;
        default:
          throw std::runtime_error("SQLite: unknown row kind");
      }
    }
    for (; open.size() > 1; open.pop_back()) d.tag('E');
  }
  sqlite3_close(db);
  return d;
}

}  // namespace bench
