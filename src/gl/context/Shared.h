#pragma once

#include "Export.h"

namespace OGL_ZEP6_AE {

// A job for the GL worker thread. A marshalled call builds one of the Threader jobs below on
// its own stack, hands it to the worker with ThreadQueue() and waits; on the worker the job
// calls the same function again, which then does the real work. Failures inside a job never
// reach the caller as exceptions: they end in ErrorMessage().
class ZEP6_API Shared {
public:
    virtual void Run() = 0;
    // Each finished job empties the pixel-memory cache, so that memory taken for one call does
    // not stay with the worker.
    virtual ~Shared();

    // Creates the worker thread when needed and runs this job on it; returns the job's result.
    // The worker stays until the call has returned: a last StaticList::Decrement() on another
    // thread waits for it, and a call arriving during that shutdown waits and then starts a new
    // worker.
    bool ThreadQueue();

    // Whether the worker thread exists and the caller is that thread.
    static bool IsThread();

    // The message of the last job, or "Unknown" when there is no worker thread.
    const char* ErrorMessage();

protected:
    // The job function handed to Thread::Execute: runs the job when there is one.
    static bool ThreadTask(void* job);
};

// Jobs carrying one call of a function F that returns nothing, with pointers to its arguments
// in the caller's frame (two to seven arguments).
template <class F, class A1, class A2> class Threader2 : public Shared {
public:
    Threader2(F function, A1* a1, A2* a2) : function_(function), a1_(a1), a2_(a2) {}
    void Run() override { function_(*a1_, *a2_); }

private:
    F function_;
    A1* a1_;
    A2* a2_;
};

template <class F, class A1, class A2, class A3> class Threader3 : public Shared {
public:
    Threader3(F function, A1* a1, A2* a2, A3* a3) : function_(function), a1_(a1), a2_(a2), a3_(a3) {}
    void Run() override { function_(*a1_, *a2_, *a3_); }

private:
    F function_;
    A1* a1_;
    A2* a2_;
    A3* a3_;
};

template <class F, class A1, class A2, class A3, class A4> class Threader4 : public Shared {
public:
    Threader4(F function, A1* a1, A2* a2, A3* a3, A4* a4)
        : function_(function), a1_(a1), a2_(a2), a3_(a3), a4_(a4) {}
    void Run() override { function_(*a1_, *a2_, *a3_, *a4_); }

private:
    F function_;
    A1* a1_;
    A2* a2_;
    A3* a3_;
    A4* a4_;
};

template <class F, class A1, class A2, class A3, class A4, class A5> class Threader5 : public Shared {
public:
    Threader5(F function, A1* a1, A2* a2, A3* a3, A4* a4, A5* a5)
        : function_(function), a1_(a1), a2_(a2), a3_(a3), a4_(a4), a5_(a5) {}
    void Run() override { function_(*a1_, *a2_, *a3_, *a4_, *a5_); }

private:
    F function_;
    A1* a1_;
    A2* a2_;
    A3* a3_;
    A4* a4_;
    A5* a5_;
};

template <class F, class A1, class A2, class A3, class A4, class A5, class A6>
class Threader6 : public Shared {
public:
    Threader6(F function, A1* a1, A2* a2, A3* a3, A4* a4, A5* a5, A6* a6)
        : function_(function), a1_(a1), a2_(a2), a3_(a3), a4_(a4), a5_(a5), a6_(a6) {}
    void Run() override { function_(*a1_, *a2_, *a3_, *a4_, *a5_, *a6_); }

private:
    F function_;
    A1* a1_;
    A2* a2_;
    A3* a3_;
    A4* a4_;
    A5* a5_;
    A6* a6_;
};

template <class F, class A1, class A2, class A3, class A4, class A5, class A6, class A7>
class Threader7 : public Shared {
public:
    Threader7(F function, A1* a1, A2* a2, A3* a3, A4* a4, A5* a5, A6* a6, A7* a7)
        : function_(function), a1_(a1), a2_(a2), a3_(a3), a4_(a4), a5_(a5), a6_(a6), a7_(a7) {}
    void Run() override { function_(*a1_, *a2_, *a3_, *a4_, *a5_, *a6_, *a7_); }

private:
    F function_;
    A1* a1_;
    A2* a2_;
    A3* a3_;
    A4* a4_;
    A5* a5_;
    A6* a6_;
    A7* a7_;
};

namespace detail {
template <int N> struct ThreaderFor;
template <> struct ThreaderFor<2> {
    template <class F, class... A> using type = Threader2<F, A...>;
};
template <> struct ThreaderFor<3> {
    template <class F, class... A> using type = Threader3<F, A...>;
};
template <> struct ThreaderFor<4> {
    template <class F, class... A> using type = Threader4<F, A...>;
};
template <> struct ThreaderFor<5> {
    template <class F, class... A> using type = Threader5<F, A...>;
};
template <> struct ThreaderFor<6> {
    template <class F, class... A> using type = Threader6<F, A...>;
};
template <> struct ThreaderFor<7> {
    template <class F, class... A> using type = Threader7<F, A...>;
};
} // namespace detail

// The guard in front of a marshalled function's body:
//
//     void GetSomething(unsigned int what, char* out, int size) {
//         if (MarshalToWorker(&GetSomething, what, out, size))
//             return;
//         ... body, on the worker thread with the root context current ...
//     }
//
// On the worker thread it returns false and the body runs. On any other thread it runs the
// function as a job on the worker, waits for it, and returns true. The arguments are passed by
// reference so that the job points at the caller's own variables.
template <class... P, class... A> bool MarshalToWorker(void (*function)(P...), A&... args) {
    static_assert(sizeof...(P) == sizeof...(A), "one argument per parameter");
    if (Shared::IsThread())
        return false;
    using Job = typename detail::ThreaderFor<sizeof...(P)>::template type<void (*)(P...), A...>;
    Job job(function, &args...);
    job.ThreadQueue();
    return true;
}

} // namespace OGL_ZEP6_AE
