// Encodes the saved document. UTF-8 is passed through; any other encoding goes
// through one iconv converter for the whole document, so that stateful
// encodings keep their state from piece to piece.
#include "Output.h"

#include <cerrno>
#include <cstdio>
#include <strings.h>

namespace qmdbxml {
namespace {

constexpr size_t kFlushSize = 64 * 1024;

bool utf8Name(const std::string& name) {
  return strcasecmp(name.c_str(), "UTF-8") == 0 || strcasecmp(name.c_str(), "UTF8") == 0;
}

// The length of the UTF-8 sequence at `s` and its code point; 0 when it is
// not a valid, shortest-form sequence.
size_t decode(const unsigned char* s, size_t n, unsigned long& c) {
  if (n == 0) return 0;
  if (s[0] < 0x80) {
    c = s[0];
    return 1;
  }
  size_t length = s[0] >= 0xF0 ? 4 : s[0] >= 0xE0 ? 3 : s[0] >= 0xC2 ? 2 : 0;
  if (length == 0 || s[0] > 0xF4 || length > n) return 0;
  c = s[0] & (0x7F >> length);
  for (size_t i = 1; i < length; ++i) {
    if ((s[i] & 0xC0) != 0x80) return 0;
    c = (c << 6) | (s[i] & 0x3F);
  }
  if ((length == 3 && c < 0x800) || (length == 4 && (c < 0x10000 || c > 0x10FFFF))) return 0;
  return length;
}

bool xmlChar(unsigned long c) {
  return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) ||
         (c >= 0xE000 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0x10FFFF);
}

}  // namespace

size_t badCharacter(const std::string& text) {
  const auto* s = reinterpret_cast<const unsigned char*>(text.data());
  size_t n = text.size();
  for (size_t i = 0; i < n;) {
    if (s[i] >= 0x20 && s[i] < 0x80) {
      ++i;
      continue;
    }
    unsigned long c = 0;
    size_t length = decode(s + i, n - i, c);
    if (length == 0 || !xmlChar(c)) return i;
    i += length;
  }
  return std::string::npos;
}

Output::~Output() {
  if (converter_ != reinterpret_cast<iconv_t>(-1)) iconv_close(converter_);
}

bool Output::open(const std::string& encoding, std::string& error) {
  encoding_ = encoding;
  if (utf8Name(encoding)) return true;
  converter_ = iconv_open(encoding.c_str(), "UTF-8");
  if (converter_ == reinterpret_cast<iconv_t>(-1)) {
    error = "unknown encoding " + encoding;
    return false;
  }
  return true;
}

bool Output::write(const std::string& text, bool references, std::string& error) {
  if (converter_ == reinterpret_cast<iconv_t>(-1)) {
    buffer_ += text;
  } else {
    char* in = const_cast<char*>(text.data());
    size_t inLeft = text.size();
    while (inLeft > 0) {
      char block[4096];
      char* out = block;
      size_t outLeft = sizeof block;
      size_t status = iconv(converter_, &in, &inLeft, &out, &outLeft);
      buffer_.append(block, static_cast<size_t>(out - block));
      if (status != static_cast<size_t>(-1) || errno == E2BIG) continue;
      unsigned long c = 0;
      size_t length = decode(reinterpret_cast<const unsigned char*>(in), inLeft, c);
      if (length == 0) {
        error = "invalid UTF-8";
        return false;
      }
      char hex[16];
      snprintf(hex, sizeof hex, "U+%04lX", c);
      if (!references) {
        error = std::string("the character ") + hex + " cannot be written in " + encoding_;
        return false;
      }
      in += length;
      inLeft -= length;
      char reference[24];
      snprintf(reference, sizeof reference, "&#%lu;", c);
      if (!write(reference, false, error)) return false;
    }
  }
  if (buffer_.size() > kFlushSize) return flush();
  return true;
}

bool Output::finish() {
  if (converter_ != reinterpret_cast<iconv_t>(-1)) {
    // A stateful encoding (ISO-2022-JP, ...) returns to its initial state.
    char block[64];
    char* out = block;
    size_t outLeft = sizeof block;
    iconv(converter_, nullptr, nullptr, &out, &outLeft);
    buffer_.append(block, static_cast<size_t>(out - block));
  }
  return flush();
}

bool Output::flush() {
  if (!buffer_.empty()) out_.write(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
  buffer_.clear();
  return static_cast<bool>(out_);
}

}  // namespace qmdbxml
