// The auction-site generator. Counts follow XMark's proportions at a scale
// chosen from the wanted size; texts are sentences of a fixed vocabulary.
// No text is empty or only white space, and no two texts are adjacent, so
// every XML parser gives back exactly these events.
#include "Generator.h"

#include <cmath>
#include <string>

#include "Random.h"

namespace bench {

namespace {

const char* const kWords[] = {
    "about",    "above",    "across",   "action",  "against", "ancient",  "answer",   "approach",
    "arrive",   "autumn",   "balance",  "battle",  "beauty",  "believe",  "beneath",  "blood",
    "bright",   "brother",  "candle",   "castle",  "certain", "change",   "cheerful", "choose",
    "clever",   "comfort",  "command",  "country", "courage", "crown",    "danger",   "daughter",
    "desire",   "destiny",  "devotion", "distant", "dream",   "duty",     "earnest",  "empire",
    "enemy",    "entreat",  "envy",     "evening", "faith",   "fortune",  "friend",   "gentle",
    "glory",    "gracious", "grief",    "guilty",  "harvest", "heaven",   "honest",   "honour",
    "humble",   "innocent", "island",   "journey", "justice", "kingdom",  "knight",   "labour",
    "letter",   "liberty",  "lovely",   "majesty", "master",  "measure",  "mercy",    "message",
    "midnight", "mistress", "modest",   "morning", "mortal",  "nature",   "noble",    "offence",
    "patience", "peace",    "pleasure", "poison",  "prince",  "promise",  "purpose",  "quarrel",
    "question", "reason",   "remember", "revenge", "river",   "sacred",   "season",   "secret",
    "servant",  "shadow",   "silence",  "sorrow",  "spirit",  "stranger", "summer",   "sweet",
    "tempest",  "thunder",  "tongue",   "treason", "trouble", "virtue",   "voyage",   "wander",
    "weather",  "welcome",  "wisdom",   "wonder",  "worthy",  "yonder",   "youth",    "zeal",
};
constexpr int kWordCount = sizeof(kWords) / sizeof(kWords[0]);

const char* const kRegions[] = {"africa", "asia", "australia", "europe", "namerica", "samerica"};
const int kItemsPerRegion[] = {550, 2000, 2200, 6000, 10000, 1000};  // XMark at scale 1
const char* const kCountries[] = {"United States", "Germany",   "Japan",  "Brazil",
                                  "Kenya",         "Australia", "France", "India"};
const char* const kCities[] = {"Amsterdam", "Boston", "Cairo", "Denver",
                               "Lima",      "Osaka",  "Perth", "Toronto"};
const char* const kPayments[] = {"Creditcard", "Money order", "Personal Check", "Cash"};
const char* const kEducation[] = {"High School", "College", "Graduate School", "Other"};

// Adjusts counts so that scale 1 gives about 100 MB with the texts below.
constexpr double kCalibration = 1.655;

class Writer {
 public:
  Writer(Document& doc, uint64_t seed) : doc_(doc), ev_(doc.events), rnd_(seed) {}

  void build(double scale) {
    itemCount_ = 0;
    for (int r = 0; r < 6; ++r) itemCount_ += count(kItemsPerRegion[r], scale);
    people_ = count(25500, scale);
    open_ = count(12000, scale);
    closed_ = count(9750, scale);
    categories_ = count(1000, scale);

    ev_.pi("xml-stylesheet", "type=\"text/xsl\" href=\"auction.xsl\"");
    ++ordinal_;
    start("site");
    regions(scale);
    categoryList();
    catgraph();
    peopleList();
    openAuctions();
    closedAuctions();
    end();
  }

 private:
  static long count(long base, double scale) {
    long n = std::lround(base * scale * kCalibration);
    return n < 1 ? 1 : n;
  }

  // --- events, counting objects as they come ---
  void start(const char* gid) {
    ev_.start(gid);
    ++ordinal_;
  }
  void attr(const char* name, const std::string& value) { ev_.attribute(name, value); }
  void text(const std::string& t) {
    ev_.text(t);
    ++ordinal_;
  }
  void end() { ev_.end(); }
  void leaf(const char* gid, const std::string& t) {
    start(gid);
    text(t);
    end();
  }

  // --- texts ---
  const char* word() { return kWords[rnd_.below(kWordCount)]; }
  std::string words(long low, long high) {
    std::string s = word();
    for (long n = rnd_.between(low, high) - 1; n > 0; --n) {
      s += ' ';
      s += word();
    }
    return s;
  }
  std::string number(long low, long high) { return std::to_string(rnd_.between(low, high)); }
  std::string money() {
    return std::to_string(rnd_.between(1, 400)) + "." + std::to_string(rnd_.between(10, 99));
  }
  std::string date() {
    return std::to_string(rnd_.between(1, 12)) + "/" + std::to_string(rnd_.between(1, 28)) + "/" +
           std::to_string(rnd_.between(1998, 2001));
  }
  std::string time() {
    return std::to_string(rnd_.between(10, 23)) + ":" + std::to_string(rnd_.between(10, 59)) + ":" +
           std::to_string(rnd_.between(10, 59));
  }
  std::string ref(const char* prefix, long n) { return prefix + std::to_string(rnd_.below(n)); }
  std::string personName() {
    std::string s = word();
    s[0] = static_cast<char>(s[0] - 'a' + 'A');
    std::string t = word();
    t[0] = static_cast<char>(t[0] - 'a' + 'A');
    return s + " " + t;
  }

  // Mixed content: text with inline bold, keyword and emph elements, never two texts in a row.
  void mixedText() {
    start("text");
    text(words(4, 18));
    for (long n = rnd_.between(0, 3); n > 0; --n) {
      static const char* const kInline[] = {"bold", "keyword", "emph"};
      const char* gid = kInline[rnd_.below(3)];
      start(gid);
      text(words(1, 4));
      end();
      if (rnd_.chance(6)) {
        ev_.pi("render", "hint=" + std::string(word()));
        ++ordinal_;
      }
      text(" " + words(3, 14) + (rnd_.chance(5) ? " & co." : "."));
    }
    end();
  }
  void description() {
    start("description");
    if (rnd_.chance(30)) {
      start("parlist");
      for (long n = rnd_.between(1, 4); n > 0; --n) {
        start("listitem");
        mixedText();
        end();
      }
      end();
    } else {
      mixedText();
    }
    end();
  }

  // --- the parts of the site ---
  void regions(double scale) {
    start("regions");
    long id = 0;
    for (int r = 0; r < 6; ++r) {
      start(kRegions[r]);
      for (long n = count(kItemsPerRegion[r], scale); n > 0; --n) item(id++);
      end();
    }
    end();
  }
  void item(long id) {
    start("item");
    std::string key = "item" + std::to_string(id);
    doc_.keyed.push_back({key, ordinal_ - 1});
    attr("id", key);
    if (rnd_.chance(10)) attr("featured", "yes");
    leaf("location", kCountries[rnd_.below(8)]);
    leaf("quantity", number(1, 5));
    leaf("name", words(2, 5));
    leaf("payment", kPayments[rnd_.below(4)]);
    description();
    leaf("shipping", words(3, 8));
    for (long n = rnd_.between(1, 4); n > 0; --n) {
      start("incategory");
      attr("category", ref("category", categories_));
      end();
    }
    start("mailbox");
    for (long n = rnd_.between(0, 3); n > 0; --n) {
      start("mail");
      leaf("from", personName());
      leaf("to", personName());
      leaf("date", date());
      mixedText();
      end();
    }
    end();
    end();
  }
  void categoryList() {
    start("categories");
    for (long c = 0; c < categories_; ++c) {
      start("category");
      attr("id", "category" + std::to_string(c));
      leaf("name", words(1, 3));
      description();
      end();
    }
    end();
  }
  void catgraph() {
    start("catgraph");
    for (long c = 0; c < categories_; ++c) {
      start("edge");
      attr("from", ref("category", categories_));
      attr("to", ref("category", categories_));
      end();
    }
    end();
  }
  void peopleList() {
    start("people");
    for (long p = 0; p < people_; ++p) {
      start("person");
      std::string key = "person" + std::to_string(p);
      doc_.keyed.push_back({key, ordinal_ - 1});
      attr("id", key);
      leaf("name", personName());
      leaf("emailaddress", "mailto:" + std::string(word()) + "@" + word() + ".com");
      if (rnd_.chance(50))
        leaf("phone",
             "+" + number(1, 99) + " (" + number(10, 999) + ") " + number(1000000, 9999999));
      if (rnd_.chance(60)) {
        start("address");
        leaf("street", number(1, 99) + " " + word() + " St");
        leaf("city", kCities[rnd_.below(8)]);
        leaf("country", kCountries[rnd_.below(8)]);
        leaf("zipcode", number(10000, 99999));
        end();
      }
      if (rnd_.chance(40))
        leaf("homepage", "http://www." + std::string(word()) + ".com/~" + word());
      if (rnd_.chance(50))
        leaf("creditcard", number(1000, 9999) + " " + number(1000, 9999) + " " +
                               number(1000, 9999) + " " + number(1000, 9999));
      if (rnd_.chance(70)) {
        start("profile");
        attr("income", money());
        for (long n = rnd_.between(0, 4); n > 0; --n) {
          start("interest");
          attr("category", ref("category", categories_));
          end();
        }
        if (rnd_.chance(50)) leaf("education", kEducation[rnd_.below(4)]);
        leaf("gender", rnd_.chance(50) ? "male" : "female");
        leaf("business", rnd_.chance(50) ? "Yes" : "No");
        leaf("age", number(18, 80));
        end();
      }
      start("watches");
      for (long n = rnd_.between(0, 4); n > 0; --n) {
        start("watch");
        attr("open_auction", ref("open_auction", open_));
        end();
      }
      end();
      end();
    }
    end();
  }
  void annotation() {
    start("annotation");
    start("author");
    attr("person", ref("person", people_));
    end();
    description();
    leaf("happiness", number(1, 10));
    end();
  }
  void openAuctions() {
    start("open_auctions");
    for (long a = 0; a < open_; ++a) {
      start("open_auction");
      attr("id", "open_auction" + std::to_string(a));
      leaf("initial", money());
      if (rnd_.chance(40)) leaf("reserve", money());
      for (long n = rnd_.between(0, 6); n > 0; --n) {
        start("bidder");
        leaf("date", date());
        leaf("time", time());
        start("personref");
        attr("person", ref("person", people_));
        end();
        leaf("increase", money());
        end();
      }
      leaf("current", money());
      if (rnd_.chance(30)) leaf("privacy", "Yes");
      start("itemref");
      attr("item", ref("item", itemCount_));
      end();
      start("seller");
      attr("person", ref("person", people_));
      end();
      annotation();
      leaf("quantity", number(1, 5));
      leaf("type", rnd_.chance(50) ? "Regular" : "Featured");
      start("interval");
      leaf("start", date());
      leaf("end", date());
      end();
      end();
    }
    end();
  }
  void closedAuctions() {
    start("closed_auctions");
    for (long a = 0; a < closed_; ++a) {
      start("closed_auction");
      start("seller");
      attr("person", ref("person", people_));
      end();
      start("buyer");
      attr("person", ref("person", people_));
      end();
      start("itemref");
      attr("item", ref("item", itemCount_));
      end();
      leaf("price", money());
      leaf("date", date());
      leaf("quantity", number(1, 5));
      leaf("type", rnd_.chance(50) ? "Regular" : "Featured");
      annotation();
      end();
    }
    end();
  }

  Document& doc_;
  EventList& ev_;
  Random rnd_;
  uint64_t ordinal_ = 0;
  long itemCount_ = 0;
  long people_ = 0;
  long open_ = 0;
  long closed_ = 0;
  long categories_ = 0;
};

}  // namespace

Document generateDocument(double megabytes) {
  Document doc;
  Writer(doc, 0x51a7e5eedULL).build(megabytes / 100.0);
  return doc;
}

}  // namespace bench
