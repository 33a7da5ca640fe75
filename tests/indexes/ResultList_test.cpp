// Result lists: where entries go, the cursor, refusals, databases, deep copies (ownership
// faults show up as AddressSanitizer reports).
#include <gtest/gtest.h>

#include <string>

#include "Qmdb/Qmdb"

namespace {

std::string str(long h) {
  return std::to_string(h);
}
std::string str(const char* s) {
  return s;
}

// The entries, then "@" and the current one ("-" for none), e.g. "1,2,3@2"; the cursor stays.
template <typename List>
std::string render(List& list) {
  auto at = list.current();
  long steps = 0;
  if (at) {
    while (list.previous()) ++steps;
  }
  std::string out;
  for (auto v = list.first(); v; v = list.next()) out += (out.empty() ? "" : ",") + str(v);
  if (at) {
    list.first();
    while (steps-- > 0) list.next();
  }
  return out + "@" + (at ? str(at) : "-");
}

TEST(ResultListTest, InsertAddRemoveAndTheCursorAndRefusals) {
  QmdbList list;
  EXPECT_EQ(list.first() | list.last() | list.current() | list.next() | list.previous(), 0);
  EXPECT_EQ(list.db(), nullptr);
  list.remove();
  EXPECT_FALSE(list.replace(5));
  EXPECT_FALSE(list.insert(0));
  EXPECT_FALSE(list.add(&list, 0));
  EXPECT_EQ(list.length(), 0);

  for (long h : {1, 2, 3}) EXPECT_TRUE(list.insert(h));
  EXPECT_EQ(render(list), "3,2,1@-");  // without a cursor each goes to the head
  list.clear();
  for (long h : {10, 20, -30}) EXPECT_TRUE(list.add(h));  // negatives are end positions
  EXPECT_EQ(render(list), "10,20,-30@-");                 // add leaves no cursor
  EXPECT_EQ(list.first(), 10);
  EXPECT_TRUE(list.insert(15));
  EXPECT_EQ(render(list), "10,15,20,-30@10");
  EXPECT_FALSE(list.replace(0));
  EXPECT_EQ(list.previous(), 0);  // off the head; from none it stays none
  EXPECT_EQ(list.next(), 0);
  EXPECT_EQ(list.last(), -30);
  EXPECT_TRUE(list.insert(40));  // after the tail: a new tail
  EXPECT_EQ(list.last(), 40);
  EXPECT_EQ(list.previous(), -30);
  list.remove();
  EXPECT_EQ(render(list), "10,15,20,40@40");
  list.remove();  // the tail: nothing becomes current
  EXPECT_EQ(render(list), "10,15,20@-");
  EXPECT_EQ(list.next(), 0);
  EXPECT_EQ(list.previous(), 0);
  EXPECT_EQ(list.last(), 20);
  list.first();
  list.remove();
  EXPECT_EQ(render(list), "15,20@15");
  EXPECT_EQ(list.length(), 2);
}

TEST(ResultListTest, EntriesCarryTheirDatabaseIntoDeepCopies) {
  int a = 0, b = 0;
  QmdbList list;
  list.add(&a, 1);
  list.add(2);
  EXPECT_EQ(list.db(), nullptr);
  list.first();
  EXPECT_EQ(list.db(), &a);
  EXPECT_EQ(list.next(), 2);
  EXPECT_EQ(list.db(), nullptr);
  EXPECT_TRUE(list.replace(&b, 3));
  EXPECT_EQ(list.db(), &b);
  list.first();
  EXPECT_TRUE(list.replace(4));  // the one-argument form clears the database
  EXPECT_EQ(list.db(), nullptr);
  EXPECT_EQ(render(list), "4,3@4");

  QmdbList source, assigned;
  source.add(&a, 1);
  source.add(2);
  source.first();
  QmdbList copy(source);
  assigned.add(9);
  assigned.first();
  assigned = source;
  source.replace(7);
  source.add(3);
  EXPECT_EQ(render(copy), "1,2@-");
  EXPECT_EQ(render(assigned), "1,2@-");
  EXPECT_EQ(copy.first(), 1);
  EXPECT_EQ(copy.db(), &a);
  QmdbList& self = copy;
  copy = self;
  EXPECT_EQ(render(copy), "1,2@1");
}

TEST(StringListTest, StringsAreOwnedCopies) {
  QmdbStringList list;
  EXPECT_EQ(list.first(), nullptr);
  EXPECT_FALSE(list.replace("x"));
  char buffer[] = "b";
  EXPECT_TRUE(list.add(buffer));
  EXPECT_TRUE(list.add(""));
  EXPECT_TRUE(list.insert("a"));
  EXPECT_FALSE(list.add(nullptr));
  EXPECT_FALSE(list.insert(nullptr));
  buffer[0] = 'X';
  EXPECT_EQ(render(list), "a,b,@-");
  EXPECT_STREQ(list.last(), "");
  EXPECT_STREQ(list.previous(), "b");
  EXPECT_EQ(list.db(), nullptr);
  EXPECT_FALSE(list.replace(nullptr));
  EXPECT_TRUE(list.replace("c"));
  EXPECT_TRUE(list.insert("d"));
  EXPECT_EQ(render(list), "a,c,d,@c");
  list.remove();
  EXPECT_EQ(render(list), "a,d,@d");

  QmdbStringList copy(list), assigned;
  assigned.add("old");
  assigned = list;
  list.replace("e");
  list.clear();
  EXPECT_EQ(render(copy), "a,d,@-");
  EXPECT_EQ(render(assigned), "a,d,@-");
  assigned.first();
  QmdbStringList& self = assigned;
  assigned = self;
  EXPECT_EQ(render(assigned), "a,d,@a");
  assigned = list;
  EXPECT_EQ(render(assigned), "@-");
  list.add("left for the destructor");
}

}  // namespace
