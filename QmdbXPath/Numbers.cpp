// Numbers as XPath writes and reads them.
//
// Writing: the fewest significant digits that read back to the same double,
// laid out in plain decimal (never an exponent); NaN and the infinities by
// name; both zeros as "0". Reading: XML whitespace, an optional '-', digits
// with at most one '.', XML whitespace; anything else is NaN.
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include <Qmdb/QmdbXPath>

namespace QmdbXPath {

std::string numberToString(double number) {
  if (std::isnan(number)) return "NaN";
  if (std::isinf(number)) return number > 0 ? "Infinity" : "-Infinity";
  if (number == 0) return "0";
  char buffer[40];
  int precision = 1;
  for (; precision < 17; ++precision) {
    std::snprintf(buffer, sizeof buffer, "%.*e", precision - 1, number);
    if (std::strtod(buffer, nullptr) == number) break;
  }
  std::snprintf(buffer, sizeof buffer, "%.*e", precision - 1, number);
  // buffer: [-]d[.ddd]e[+-]xx
  std::string text(buffer);
  bool negative = text[0] == '-';
  size_t e = text.find('e');
  std::string digits;
  for (size_t i = negative ? 1 : 0; i < e; ++i) {
    if (text[i] != '.') digits += text[i];
  }
  int exponent = std::atoi(text.c_str() + e + 1);
  while (digits.size() > 1 && digits.back() == '0') digits.pop_back();
  std::string out = negative ? "-" : "";
  int point = exponent + 1;  // digits before the decimal point
  if (point <= 0) {
    out += "0.";
    out.append(static_cast<size_t>(-point), '0');
    out += digits;
  } else if (static_cast<size_t>(point) >= digits.size()) {
    out += digits;
    out.append(static_cast<size_t>(point) - digits.size(), '0');
  } else {
    out += digits.substr(0, static_cast<size_t>(point));
    out += '.';
    out += digits.substr(static_cast<size_t>(point));
  }
  return out;
}

double stringToNumber(const std::string& text) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  auto space = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  size_t begin = 0, end = text.size();
  while (begin < end && space(text[begin])) ++begin;
  while (end > begin && space(text[end - 1])) --end;
  size_t i = begin;
  if (i < end && text[i] == '-') ++i;
  size_t digits = 0;
  bool point = false;
  for (; i < end; ++i) {
    if (text[i] >= '0' && text[i] <= '9') {
      ++digits;
    } else if (text[i] == '.' && !point) {
      point = true;
    } else {
      return nan;
    }
  }
  if (digits == 0) return nan;
  double value = 0;
  auto result =
      std::from_chars(text.data() + begin, text.data() + end, value, std::chars_format::fixed);
  if (result.ec == std::errc::result_out_of_range) {
    // Too large or too small for a double: strtod gives the infinity or the zero.
    return std::strtod(text.substr(begin, end - begin).c_str(), nullptr);
  }
  if (result.ec != std::errc() || result.ptr != text.data() + end) return nan;
  return value;
}

}  // namespace QmdbXPath
