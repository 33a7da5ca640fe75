// Coding systems: ISO 8859-1 and UTF-8 converted by hand, every other coding
// through iconv. Internal text is UTF-8.
//
// Invariants: a conversion never fails and never stops early: each character
// that cannot be converted, and each ill-formed input sequence, becomes one
// '?' and conversion goes on after it. Zero bytes inside a counted text are
// data and pass through. A kIconv system owns two open iconv descriptors (one
// each way) for its whole life; every other system owns none.
#include <errno.h>
#include <iconv.h>
#include <strings.h>

#include <cstdint>
#include <cstring>

#include "Qmencoding/QmCEncoding.h"

namespace {

const iconv_t kNoIconv = reinterpret_cast<iconv_t>(-1);

// One step over UTF-8 input: either a whole character, or the longest
// ill-formed prefix that has to be replaced as one unit (at least one byte).
// Replacing the maximal ill-formed prefix, rather than byte by byte, gives one
// '?' for a truncated character and keeps the byte after it.
struct Utf8Step {
  size_t length;
  bool valid;
  uint32_t codePoint;
};

Utf8Step stepUtf8(const unsigned char* p, size_t n) {
  unsigned char c = p[0];
  if (c < 0x80) return {1, true, c};
  size_t need;
  uint32_t value;
  // The allowed range of the second byte excludes overlong forms, surrogates
  // and values past U+10FFFF, so they are caught as soon as they start.
  unsigned char low = 0x80;
  unsigned char high = 0xBF;
  if (c >= 0xC2 && c <= 0xDF) {
    need = 2;
    value = c & 0x1F;
  } else if (c >= 0xE0 && c <= 0xEF) {
    need = 3;
    value = c & 0x0F;
    if (c == 0xE0) low = 0xA0;
    if (c == 0xED) high = 0x9F;
  } else if (c >= 0xF0 && c <= 0xF4) {
    need = 4;
    value = c & 0x07;
    if (c == 0xF0) low = 0x90;
    if (c == 0xF4) high = 0x8F;
  } else {
    return {1, false, 0};
  }
  for (size_t i = 1; i < need; ++i) {
    if (i >= n || p[i] < low || p[i] > high) return {i, false, 0};
    value = value << 6 | (p[i] & 0x3F);
    low = 0x80;
    high = 0xBF;
  }
  return {need, true, value};
}

size_t lengthOf(const char* text, long length) {
  if (text == nullptr) return 0;
  return length < 0 ? strlen(text) : static_cast<size_t>(length);
}

bool isLatin1Name(const char* name) {
  for (const char* known : {"ISO8859", "ISO8859-1", "ISO-8859-1", "LATIN1"}) {
    if (strcasecmp(name, known) == 0) return true;
  }
  return false;
}

bool isUtf8Name(const char* name) {
  return strcasecmp(name, "UTF-8") == 0 || strcasecmp(name, "UTF8") == 0;
}

// UTF-8 in, UTF-8 (kIdentity) or ISO 8859-1 (kLatin1) out.
void encodeByHand(const unsigned char* p, size_t n, bool toLatin1, QmTString& out) {
  for (size_t i = 0; i < n;) {
    Utf8Step step = stepUtf8(p + i, n - i);
    if (!step.valid) {
      out.Append('?');
    } else if (toLatin1) {
      out.Append(step.codePoint <= 0xFF ? static_cast<char>(step.codePoint) : '?');
    } else {
      out.Append(reinterpret_cast<const char*>(p + i), static_cast<long>(step.length));
    }
    i += step.length;
  }
}

// Converts with iconv. Input iconv refuses (EILSEQ, or EINVAL for a truncated
// sequence at the end) becomes '?' and is skipped: one whole UTF-8 character
// (or ill-formed prefix) when `utf8Input`, else one byte, since the width of
// a character in an arbitrary external coding is unknown.
void convertIconv(iconv_t cd, const char* text, size_t n, bool utf8Input, QmTString& out) {
  iconv(cd, nullptr, nullptr, nullptr, nullptr);
  char* in = const_cast<char*>(text);
  size_t inLeft = n;
  char buffer[1024];
  bool flushed = false;
  while (!flushed) {
    char* outPtr = buffer;
    size_t outLeft = sizeof buffer;
    size_t result;
    if (inLeft > 0) {
      result = iconv(cd, &in, &inLeft, &outPtr, &outLeft);
    } else {
      // All input taken: write the closing shift sequence, if the coding has one.
      result = iconv(cd, nullptr, nullptr, &outPtr, &outLeft);
      flushed = result != static_cast<size_t>(-1);
    }
    int error = result == static_cast<size_t>(-1) ? errno : 0;
    out.Append(buffer, static_cast<long>(outPtr - buffer));
    if (error == 0 || error == E2BIG) continue;
    if (inLeft == 0) break;  // the flush itself failed: nothing more can be done
    out.Append('?');
    size_t skip = 1;
    if (utf8Input) skip = stepUtf8(reinterpret_cast<unsigned char*>(in), inLeft).length;
    in += skip;
    inLeft -= skip;
  }
}

}  // namespace

QmCCodingSystem::QmCCodingSystem() : method_(kTransparent), encoder_(*this), decoder_(*this) {}

QmCCodingSystem::QmCCodingSystem(const char* name)
    : method_(kNone), name_(name, -1), encoder_(*this), decoder_(*this) {
  if (name == nullptr || name_.Failed()) return;
  if (isLatin1Name(name)) {
    method_ = kLatin1;
  } else if (isUtf8Name(name)) {
    method_ = kIdentity;
  } else {
    iconv_t toExternal = iconv_open(name, "UTF-8");
    iconv_t toInternal = iconv_open("UTF-8", name);
    if (toExternal != kNoIconv && toInternal != kNoIconv) {
      method_ = kIconv;
      toExternal_ = toExternal;
      toInternal_ = toInternal;
    } else {
      if (toExternal != kNoIconv) iconv_close(toExternal);
      if (toInternal != kNoIconv) iconv_close(toInternal);
    }
  }
}

QmCCodingSystem::~QmCCodingSystem() {
  if (toExternal_ != nullptr) iconv_close(static_cast<iconv_t>(toExternal_));
  if (toInternal_ != nullptr) iconv_close(static_cast<iconv_t>(toInternal_));
}

QmCExternString QmCCodingSystem::Encode(const char* text, long length) const {
  QmCExternString out;
  size_t n = lengthOf(text, length);
  switch (method_) {
    case kNone:
    case kTransparent:
      out.Copy(text, static_cast<long>(n));
      break;
    case kIdentity:
    case kLatin1:
      encodeByHand(reinterpret_cast<const unsigned char*>(text), n, method_ == kLatin1, out);
      break;
    case kIconv:
      convertIconv(static_cast<iconv_t>(toExternal_), text, n, true, out);
      break;
  }
  return out;
}

QmCString QmCCodingSystem::Decode(const char* text, long length) const {
  QmCString out;
  size_t n = lengthOf(text, length);
  const unsigned char* p = reinterpret_cast<const unsigned char*>(text);
  switch (method_) {
    case kNone:
    case kTransparent:
      out.Copy(text, static_cast<long>(n));
      break;
    case kIdentity:
      // Checking UTF-8 is the same walk whichever way it goes.
      encodeByHand(p, n, false, out);
      break;
    case kLatin1:
      // Every byte is a character: U+0000..U+00FF, one or two UTF-8 bytes.
      for (size_t i = 0; i < n; ++i) {
        if (p[i] < 0x80) {
          out.Append(static_cast<char>(p[i]));
        } else {
          out.Append(static_cast<char>(0xC0 | p[i] >> 6));
          out.Append(static_cast<char>(0x80 | (p[i] & 0x3F)));
        }
      }
      break;
    case kIconv:
      convertIconv(static_cast<iconv_t>(toInternal_), text, n, false, out);
      break;
  }
  return out;
}

QmCExternString QmCEncoder::operator()(const char* text, long length) const {
  return system_.Encode(text, length);
}

QmCString QmCDecoder::operator()(const char* text, long length) const {
  return system_.Decode(text, length);
}

QmCCodingSystem& fcodingSystem_ISO8859_1() {
  static QmCCodingSystem latin1("ISO8859-1");
  return latin1;
}
