#pragma once

#include "Export.h"

namespace ZEP6_AE {

// Base of static objects that hold something (OpenGL objects, memory) that must be given back
// when the last user of the library leaves. Every such object links itself into one
// process-wide list, newest first. The plug-ins count themselves in with Increment() and out
// with Decrement(); when the count goes from 1 to 0, Decrement() calls Finalize() on the newest
// object, and each Finalize() ends with FinalizedNext() so that the call walks down the list.
// A later Increment() starts using the library again.
class ZEP6_API StaticList {
public:
    // Adds one user.
    static void Increment();
    // Removes one user; the last one finalises every registered object. Runs the finalisation
    // with the count lock held, so a Finalize() must not call Increment() or Decrement().
    // Below zero it does nothing.
    static void Decrement();
    // Whether the library has users.
    static bool IsSafe();
    // The number of users now. For diagnostics and tests; the answer may be stale at once.
    static int UserCount();

protected:
    // Links the object in front of the list.
    StaticList();
    // Unlinks the object.
    ~StaticList();

    StaticList(const StaticList&) = delete;
    StaticList& operator=(const StaticList&) = delete;

    // Gives back what the object holds, leaving it reusable, and ends with FinalizedNext().
    virtual void Finalize() = 0;
    // Passes the finalisation on to the next (older) object, when there is one.
    void FinalizedNext();

private:
    StaticList* previous_;
    StaticList* next_;
};

} // namespace ZEP6_AE
