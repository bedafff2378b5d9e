#include "core/Debug.h"

namespace OGL_ZEP6_AE {

Debug Debug::sDebug(0, 0);

Debug::Debug(unsigned char, unsigned char) {}

Debug::Debug(const Debug&) {}

Debug& Debug::operator=(const Debug&) {
    return *this;
}

void Debug::Sample() {}

void Debug::Log() const {}

void Debug::Difference(const Debug&) const {}

void Debug::Initialize() {}

} // namespace OGL_ZEP6_AE
