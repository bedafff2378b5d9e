#include "gl/resources/Memory.h"

#include <new>

namespace OGL_ZEP6_AE {

void* Memory::operator new(std::size_t size) {
    return ::operator new(size);
}

void* Memory::operator new[](std::size_t size) {
    return ::operator new[](size);
}

void* Memory::operator new(std::size_t size, const char*, int) {
    return ::operator new(size);
}

void* Memory::operator new[](std::size_t size, const char*, int) {
    return ::operator new[](size);
}

void Memory::operator delete(void* block) noexcept {
    ::operator delete(block);
}

void Memory::operator delete[](void* block) noexcept {
    ::operator delete[](block);
}

void Memory::operator delete(void* block, const char*, int) noexcept {
    ::operator delete(block);
}

void Memory::operator delete[](void* block, const char*, int) noexcept {
    ::operator delete[](block);
}

} // namespace OGL_ZEP6_AE
