// The encoding stack: the coding systems a caller pushed, the top one in use.
// An empty stack behaves as the transparent coding system.
#include "Qmencoding/QmCEncoding.h"

#include <new>

namespace {
const QmCCodingSystem& transparentSystem() {
  static QmCCodingSystem* transparent = new QmCCodingSystem();
  return *transparent;
}
}  // namespace

QmCEncoding::QmCEncoding() = default;
QmCEncoding::~QmCEncoding() = default;

bool QmCEncoding::PushCodingSystem(const char* name) {
  std::unique_ptr<QmCCodingSystem> system(new (std::nothrow) QmCCodingSystem(name));
  if (system == nullptr || system->Method() == QmCCodingSystem::kNone) return false;
  stack_.push_back(std::move(system));
  transparent_ = false;
  return true;
}

bool QmCEncoding::PushTransparentCodingSystem() {
  std::unique_ptr<QmCCodingSystem> system(new (std::nothrow) QmCCodingSystem());
  if (system == nullptr) return false;
  stack_.push_back(std::move(system));
  transparent_ = true;
  return true;
}

QmCCodingSystem::EncodingMethod QmCEncoding::PopCodingSystem() {
  if (stack_.empty()) return QmCCodingSystem::kNone;
  QmCCodingSystem::EncodingMethod method = stack_.back()->Method();
  stack_.pop_back();
  transparent_ = stack_.empty() || stack_.back()->Method() == QmCCodingSystem::kTransparent;
  return method;
}

const QmCCodingSystem& QmCEncoding::top() const {
  return stack_.empty() ? transparentSystem() : *stack_.back();
}

QmCEncoder& QmCEncoding::Encoder() const { return top().Encoder(); }

QmCDecoder& QmCEncoding::Decoder() const { return top().Decoder(); }
