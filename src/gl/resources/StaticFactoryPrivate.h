#pragma once

// A cache held as a static object of the library, usable only during its own life.
//
// Static objects of other files may be made or destroyed before the cache is constructed or
// after it is destroyed (the order across files is not defined). Outside the cache's life
// Get() gives null, and the buffer classes then make and delete buffers directly, uncounted,
// instead of touching a dead cache.

namespace OGL_ZEP6_AE {
namespace detail {

template <class Factory> class StaticFactory {
public:
    StaticFactory() { sAlive = true; }
    ~StaticFactory() { sAlive = false; }
    StaticFactory(const StaticFactory&) = delete;
    StaticFactory& operator=(const StaticFactory&) = delete;

    Factory* Get() { return sAlive ? &factory_ : nullptr; }

private:
    Factory factory_;
    // Constant-initialised, so it reads false before any constructor of the library has run.
    static inline bool sAlive = false;
};

} // namespace detail
} // namespace OGL_ZEP6_AE
