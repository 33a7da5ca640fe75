// Coding systems: ISO 8859-1 and UTF-8 by hand, every other coding through
// iconv. Internal text is UTF-8; a character that cannot be converted
// becomes '?', and conversion goes on after it.
#include <errno.h>
#include <iconv.h>
#include <strings.h>

#include <cstring>

#include "Qmencoding/QmCEncoding.h"

namespace {

// The length of the valid UTF-8 sequence at p (within n bytes) and its code
// point; 0 when the bytes there are not valid UTF-8.
size_t decodeUtf8(const unsigned char* p, size_t n, unsigned long* codePoint) {
  unsigned char c = p[0];
  size_t length;
  unsigned long value;
  if (c < 0x80) {
    *codePoint = c;
    return 1;
  } else if (c >= 0xC2 && c <= 0xDF) {
    length = 2;
    value = c & 0x1F;
  } else if (c >= 0xE0 && c <= 0xEF) {
    length = 3;
    value = c & 0x0F;
  } else if (c >= 0xF0 && c <= 0xF4) {
    length = 4;
    value = c & 0x07;
  } else {
    return 0;
  }
  if (n < length) return 0;
  for (size_t i = 1; i < length; ++i) {
    if ((p[i] & 0xC0) != 0x80) return 0;
    value = value << 6 | (p[i] & 0x3F);
  }
  // Overlong forms, surrogates and values past U+10FFFF are not characters.
  if ((length == 3 && value < 0x800) || (length == 4 && (value < 0x10000 || value > 0x10FFFF)) ||
      (value >= 0xD800 && value <= 0xDFFF)) {
    return 0;
  }
  *codePoint = value;
  return length;
}

void appendUtf8(QmTString& out, unsigned long c) {
  if (c < 0x80) {
    out.Append(static_cast<char>(c));
  } else if (c < 0x800) {
    out.Append(static_cast<char>(0xC0 | c >> 6));
    out.Append(static_cast<char>(0x80 | (c & 0x3F)));
  } else {
    out.Append(static_cast<char>(0xE0 | c >> 12));
    out.Append(static_cast<char>(0x80 | (c >> 6 & 0x3F)));
    out.Append(static_cast<char>(0x80 | (c & 0x3F)));
  }
}

size_t lengthOf(const char* text, long length) {
  if (text == nullptr) return 0;
  return length < 0 ? strlen(text) : static_cast<size_t>(length);
}

bool isLatin1Name(const char* name) {
  for (const char* known : {"ISO8859", "ISO8859-1", "ISO-8859-1", "LATIN1", "ISO_8859-1"}) {
    if (strcasecmp(name, known) == 0) return true;
  }
  return false;
}

bool isUtf8Name(const char* name) { return strcasecmp(name, "UTF-8") == 0 || strcasecmp(name, "UTF8") == 0; }

// Converts with iconv; an input sequence it cannot take becomes '?' and is
// skipped (`skipUtf8`: a whole UTF-8 character, else one byte).
void convertIconv(iconv_t cd, const char* text, size_t n, bool skipUtf8, QmTString& out) {
  iconv(cd, nullptr, nullptr, nullptr, nullptr);
  char* in = const_cast<char*>(text);
  size_t inLeft = n;
  char buffer[1024];
  while (true) {
    char* outPtr = buffer;
    size_t outLeft = sizeof buffer;
    size_t result = inLeft > 0 ? iconv(cd, &in, &inLeft, &outPtr, &outLeft)
                               : iconv(cd, nullptr, nullptr, &outPtr, &outLeft);
    out.Append(buffer, static_cast<long>(outPtr - buffer));
    if (result != static_cast<size_t>(-1)) {
      if (inLeft == 0) {
        // Flush any shift state once more, then stop.
        outPtr = buffer;
        outLeft = sizeof buffer;
        iconv(cd, nullptr, nullptr, &outPtr, &outLeft);
        out.Append(buffer, static_cast<long>(outPtr - buffer));
        return;
      }
      continue;
    }
    if (errno == E2BIG) continue;
    // EILSEQ or EINVAL: replace the bad input and go on after it.
    out.Append('?');
    size_t skip = 1;
    if (skipUtf8) {
      unsigned long ignored;
      size_t valid = decodeUtf8(reinterpret_cast<unsigned char*>(in), inLeft, &ignored);
      if (valid > 0) skip = valid;
    }
    if (skip > inLeft) skip = inLeft;
    in += skip;
    inLeft -= skip;
    if (inLeft == 0) return;
  }
}

}  // namespace

QmCCodingSystem::QmCCodingSystem()
    : method_(kTransparent), encoder_(*this), decoder_(*this) {}

QmCCodingSystem::QmCCodingSystem(const char* name)
    : method_(kNone), name_(name, -1), encoder_(*this), decoder_(*this) {
  if (name == nullptr) return;
  if (isLatin1Name(name)) {
    method_ = kLatin1;
  } else if (isUtf8Name(name)) {
    method_ = kIdentity;
  } else {
    iconv_t toExternal = iconv_open(name, "UTF-8");
    iconv_t toInternal = iconv_open("UTF-8", name);
    if (toExternal != reinterpret_cast<iconv_t>(-1) && toInternal != reinterpret_cast<iconv_t>(-1)) {
      method_ = kIconv;
      toExternal_ = toExternal;
      toInternal_ = toInternal;
    } else {
      if (toExternal != reinterpret_cast<iconv_t>(-1)) iconv_close(toExternal);
      if (toInternal != reinterpret_cast<iconv_t>(-1)) iconv_close(toInternal);
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
  const unsigned char* p = reinterpret_cast<const unsigned char*>(text);
  switch (method_) {
    case kTransparent:
    case kNone:
      out.Copy(text, static_cast<long>(n));
      break;
    case kIdentity:
    case kLatin1:
      for (size_t i = 0; i < n;) {
        unsigned long c;
        size_t used = decodeUtf8(p + i, n - i, &c);
        if (used == 0) {
          out.Append('?');
          ++i;
          continue;
        }
        if (method_ == kLatin1) {
          out.Append(c <= 0xFF ? static_cast<char>(c) : '?');
        } else {
          out.Append(reinterpret_cast<const char*>(p + i), static_cast<long>(used));
        }
        i += used;
      }
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
    case kTransparent:
    case kNone:
      out.Copy(text, static_cast<long>(n));
      break;
    case kLatin1:
      for (size_t i = 0; i < n; ++i) appendUtf8(out, p[i]);
      break;
    case kIdentity:
      for (size_t i = 0; i < n;) {
        unsigned long c;
        size_t used = decodeUtf8(p + i, n - i, &c);
        if (used == 0) {
          out.Append('?');
          ++i;
        } else {
          out.Append(reinterpret_cast<const char*>(p + i), static_cast<long>(used));
          i += used;
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
  static QmCCodingSystem* latin1 = new QmCCodingSystem("ISO8859-1");
  return *latin1;
}
