#!/usr/bin/env bash
# Sets everything up, builds, and runs the whole test suite: the normal build (unit tests, GL
# tests on the machine's OpenGL driver, the install-and-consume check), then the same tests under
# the address and undefined-behaviour sanitizers, then the multi-threaded ones under the thread
# sanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh

bash scripts/build.sh build -DZEP6_BUILD_TESTS=ON -DZEP6_BUILD_TOOLS=ON -DZEP6_BUILD_BENCH=ON -DZEP6_SANITIZE=OFF
ctest --test-dir build --no-tests=error --output-on-failure -j2 --timeout 600

if [ "${ZEP6_SKIP_SANITIZE:-0}" != "1" ]; then
    # -O1 as the sanitizers advise, and line tables only: the reports keep their file and line,
    # and the build takes about half the time of a full -O2 -g build.
    bash scripts/build.sh build-asan -DZEP6_SANITIZE=ON -DZEP6_BUILD_TESTS=ON -DZEP6_BUILD_TOOLS=ON -DZEP6_BUILD_BENCH=OFF \
        "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O1 -g1 -DNDEBUG"
    # The driver stack's own process-long allocations are suppressed by name; leaks of ours fail.
    LSAN_OPTIONS="suppressions=$PWD/tests/lsan.supp:print_suppressions=0" UBSAN_OPTIONS=print_stacktrace=1 \
        ctest --test-dir build-asan --no-tests=error --output-on-failure -j2 --timeout 900
fi

if [ "${ZEP6_SKIP_SANITIZE:-0}" != "1" ]; then
    # A minute of mutation fuzzing of the tool's image readers under the sanitizers: a crash, a
    # sanitizer report, a hang or a refusal that is not one line naming the file fails the run
    # (the input is kept; see README for longer runs).
    UBSAN_OPTIONS=print_stacktrace=1 ./build-asan/fuzz/zep6gl_fuzz --seconds 60 tests/data/bad
fi

if [ "${ZEP6_SKIP_SANITIZE:-0}" != "1" ]; then
    # The tests where several threads meet (label "threads"), under the thread sanitizer. Without
    # the tool and the benchmarks this builds only the library and the two test executables.
    # Races inside the OpenGL driver are suppressed by name (tests/tsan.supp says why).
    start=$SECONDS
    bash scripts/build.sh build-tsan -DZEP6_SANITIZE=thread -DZEP6_BUILD_TESTS=ON -DZEP6_BUILD_TOOLS=OFF -DZEP6_BUILD_BENCH=OFF \
        "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O1 -g1 -DNDEBUG"
    TSAN_OPTIONS="suppressions=$PWD/tests/tsan.supp:second_deadlock_stack=1" \
        ctest --test-dir build-tsan -L threads --no-tests=error --output-on-failure -j2 --timeout 600
    echo "thread-sanitizer step: $((SECONDS - start)) s"
fi
echo "all tests passed"
