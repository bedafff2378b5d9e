#pragma once

// The OpenGL attribute stacks as a value: which server and client attribute groups to save, and
// whether this object has a level of its own on the stacks. Runs on the GL worker thread (or a
// thread with the root context current).

#include "Export.h"

namespace OGL_ZEP6_AE {

class ZEP6_API Attributes {
public:
    unsigned int mask;
    unsigned int clientMask;

    // Not pushed.
    Attributes(unsigned int mask_, unsigned int clientMask_)
        : mask(mask_), clientMask(clientMask_), pushed_(false), serverDepth_(0), clientDepth_(0) {}

    // Both save the current attributes: pop this object's level first if it has one, then
    // glPushAttrib(mask) and glPushClientAttrib(clientMask).
    void Apply();
    void Retrieve();
    // Restores the attributes this object saved and gives its level back; nothing when it has
    // none. Levels that others pushed above it and left behind are popped first, so the saved
    // level is the one that comes back.
    void Pop();

    bool IsPushed() const { return pushed_; }
    // Whether this object's level is still on the server stack: false when it has none, and when
    // someone below it has popped past it (an enclosing scope that restored its own state first).
    bool IsLevelOnStack() const;

private:
    void ConditionallyPush();
    void ConditionallyPop();

    bool pushed_;
    // The stack depths right after this object's push.
    int serverDepth_;
    int clientDepth_;
};

} // namespace OGL_ZEP6_AE
