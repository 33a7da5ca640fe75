// The encoding stack: the coding systems a caller pushed, the top one in use.
//
// Invariants: the stack never holds a kNone system (an unknown name changes
// nothing); transparent_ always equals "the stack is empty or its top is the
// transparent system", recomputed on every push and pop so that callers on a
// hot path test one bool. An empty stack converts with a process-wide
// transparent system. Pushing allocates; when memory runs out the push
// fails and the stack stays as it was.
#include "Qmencoding/QmCEncoding.h"

#include <new>

namespace {
const QmCCodingSystem& transparentSystem() {
  static const QmCCodingSystem transparent;
  return transparent;
}
}  // namespace

QmCEncoding::QmCEncoding() = default;
QmCEncoding::~QmCEncoding() = default;

bool QmCEncoding::PushCodingSystem(const char* name) {
  std::unique_ptr<QmCCodingSystem> system(new (std::nothrow) QmCCodingSystem(name));
  if (system == nullptr || system->Method() == QmCCodingSystem::kNone) return false;
  if (!push(std::move(system))) return false;
  transparent_ = false;
  return true;
}

bool QmCEncoding::PushTransparentCodingSystem() {
  if (!push(std::unique_ptr<QmCCodingSystem>(new (std::nothrow) QmCCodingSystem))) return false;
  transparent_ = true;
  return true;
}

bool QmCEncoding::push(std::unique_ptr<QmCCodingSystem> system) {
  if (system == nullptr) return false;
  try {
    stack_.push_back(std::move(system));
    return true;
  } catch (const std::bad_alloc&) {
    return false;  // `system` is freed with the argument
  }
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

QmCEncoder& QmCEncoding::Encoder() const {
  return top().Encoder();
}

QmCDecoder& QmCEncoding::Decoder() const {
  return top().Decoder();
}
