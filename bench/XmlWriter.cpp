// The XML writer: one buffered pass over the events.
#include "XmlWriter.h"

#include <cstdio>
#include <stdexcept>

namespace bench {

namespace {

void escaped(std::string& out, const char* s, bool attribute) {
  for (; *s != '\0'; ++s) {
    switch (*s) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        if (attribute) {
          out += "&quot;";
          break;
        }
        out += *s;
        break;
      default:
        out += *s;
    }
  }
}

}  // namespace

size_t writeXml(const EventList& list, const std::string& path) {
  FILE* f = fopen(path.c_str(), "wb");
  if (f == nullptr) throw std::runtime_error("cannot write " + path);
  std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  std::vector<const char*> open;
  bool inStartTag = false;
  size_t total = 0;
  for (const Event& e : list.events()) {
    if (inStartTag && e.kind != EventKind::kAttribute) {
      out += '>';
      inStartTag = false;
    }
    switch (e.kind) {
      case EventKind::kStart:
        out += '<';
        out += list.str(e.name);
        open.push_back(list.str(e.name));
        inStartTag = true;
        break;
      case EventKind::kAttribute:
        out += ' ';
        out += list.str(e.name);
        out += "=\"";
        escaped(out, list.str(e.value), true);
        out += '"';
        break;
      case EventKind::kText:
        escaped(out, list.str(e.value), false);
        break;
      case EventKind::kPi:
        out += "<?";
        out += list.str(e.name);
        out += ' ';
        out += list.str(e.value);
        out += "?>";
        break;
      case EventKind::kEnd:
        out += "</";
        out += open.back();
        out += '>';
        open.pop_back();
        break;
    }
    if (out.size() > (1u << 20)) {
      total += fwrite(out.data(), 1, out.size(), f);
      out.clear();
    }
  }
  out += '\n';
  total += fwrite(out.data(), 1, out.size(), f);
  if (fclose(f) != 0) throw std::runtime_error("cannot write " + path);
  return total;
}

}  // namespace bench
