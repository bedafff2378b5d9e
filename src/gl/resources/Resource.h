#pragma once

#include "Export.h"
#include "gl/resources/Memory.h"

namespace OGL_ZEP6_AE {

// Base of every object that owns an OpenGL name or a large block of memory. All of them sit in
// one process-wide list, newest first, so that at shutdown every one can give back what it holds
// while the root context is still current (FinalizeAll, run by the shared-resource cleaner in the
// worker's last job).
//
// The list is guarded by a lock of its own: resources are made and destroyed on host threads
// (pixel buffers) as well as on the GL worker thread.
class ZEP6_API Resource : public Memory {
public:
    // Links the new resource in front of the list.
    Resource();
    // A copy is a resource of its own, linked like a new one.
    Resource(const Resource& other);
    // Assignment copies nothing of the list: each object keeps its own place.
    Resource& operator=(const Resource&) { return *this; }

    // Gives back the OpenGL objects and memory, leaving a valid, empty object that can be used
    // (and filled) again.
    virtual void Finalize() = 0;
    // Unlinks the resource.
    virtual ~Resource();
    // Diagnostic dump; every resource of the library does nothing here.
    virtual void Dump() const = 0;

    // Finalizes every listed resource, newest first. The walk stops at the first Finalize()
    // that throws (the exception is swallowed); either way the list is emptied afterwards, so
    // resources still alive are no longer listed (a later resource starts a new list).
    static void FinalizeAll();
    // Does nothing.
    static void DumpAll();

    // Whether this resource is in the list.
    bool IsListed() const;

protected:
    // Puts the resource back in the list when a shutdown took it out. A resource that outlives a
    // shutdown (the library's static programs and shaders) and makes OpenGL objects again in a
    // later session calls this, so that the next shutdown gives them back too; otherwise their
    // names would outlive that session's context and be taken for objects of the next one.
    // Membership in the list is not part of the object's value, so const objects may do it too.
    void Relist() const;

private:
    // Counts the list for the library's tests (core/TestCountersPrivate.h).
    friend int ListedResourceCount();

    void Link();
    void Unlink();

    Resource* previous_;
    Resource* next_;
};

} // namespace OGL_ZEP6_AE
