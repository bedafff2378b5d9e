#include "core/BufferDebug.h"

namespace OGL_ZEP6_AE {

bool WriteImageToFile(const char*, const XIImage*, Channel) {
    return false;
}

bool WriteBufferToFile(const char*, int, int, Channel) {
    return false;
}

bool WriteBufferToFile(const char*, Channel) {
    return false;
}

} // namespace OGL_ZEP6_AE
