#include "module/gil_release.hpp"

#include "binding/errors.hpp"

#include <atomic>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace numerical::boundary {
namespace {

// The Python error that a handler raised stays set.
struct handler_raised : binding::error_already_set, detail::interruption
{
};

void run_handlers(void* released)
{
    if (!static_cast<binding::gil_release*>(released)->run_signal_handlers())
        throw handler_raised();
}

// Whether this is the process's first thread, which is remembered, since reading a thread's id is a
// system call. A child that another thread forked doesn't find it; its calls run to their end.
bool on_main_thread()
{
    static constinit std::atomic<pthread_t> main_thread{0};
    const pthread_t here = pthread_self();
    const pthread_t known = main_thread.load(std::memory_order_relaxed);
    if (known != 0)
        return known == here;
    if (syscall(SYS_gettid) != getpid()) // gettid() itself came with glibc 2.30
        return false;
    main_thread.store(here, std::memory_order_relaxed);
    return true;
}

} // namespace

gil_release::gil_release(bool wanted) : released(wanted)
{
    if (!wanted)
        return;
    computation.emplace();
    if (on_main_thread())
        checks.emplace(run_handlers, &released);
}

} // namespace numerical::boundary
