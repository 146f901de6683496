// The shared object needs no symbol of glibc newer than 2.28, so that it loads on the systems of
// manylinux_2_28, even if it is linked on a newer one, where the linker picks the newest version of
// each symbol. By cmake/older_glibc.cmake the linker takes __wrap_f wherever f is called, in
// libstdc++.a as well; __wrap_f calls the older version of f.
//
// Of the mathematical functions the versions differ in how errors are reported, not in results.

#include <csignal>
#include <pthread.h>
#include <sys/stat.h>

extern "C" {

double older_exp(double x);
double older_log(double x);
double older_log2(double x);
double older_pow(double x, double y);
double older_hypot(double x, double y);
int older_sigmask(int how, const sigset_t* set, sigset_t* before);
int older_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                 void* argument);
int older_detach(pthread_t thread);
int older_once(pthread_once_t* once, void (*body)());
int __fxstat64(int version, int file, struct stat64* status); // what fstat64 was before 2.33

__asm__(".symver older_exp, exp@GLIBC_2.2.5");
__asm__(".symver older_log, log@GLIBC_2.2.5");
__asm__(".symver older_log2, log2@GLIBC_2.2.5");
__asm__(".symver older_pow, pow@GLIBC_2.2.5");
__asm__(".symver older_hypot, hypot@GLIBC_2.2.5");
__asm__(".symver older_sigmask, pthread_sigmask@GLIBC_2.2.5");
__asm__(".symver older_create, pthread_create@GLIBC_2.2.5");
__asm__(".symver older_detach, pthread_detach@GLIBC_2.2.5");
__asm__(".symver older_once, pthread_once@GLIBC_2.2.5");

double __wrap_exp(double x)
{
    return older_exp(x);
}

double __wrap_log(double x)
{
    return older_log(x);
}

double __wrap_log2(double x)
{
    return older_log2(x);
}

double __wrap_pow(double x, double y)
{
    return older_pow(x, y);
}

double __wrap_hypot(double x, double y)
{
    return older_hypot(x, y);
}

int __wrap_pthread_sigmask(int how, const sigset_t* set, sigset_t* before)
{
    return older_sigmask(how, set, before);
}

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                          void* argument)
{
    return older_create(thread, attributes, body, argument);
}

int __wrap_pthread_detach(pthread_t thread)
{
    return older_detach(thread);
}

int __wrap_pthread_once(pthread_once_t* once, void (*body)())
{
    return older_once(once, body);
}

int __wrap_fstat64(int file, struct stat64* status)
{
    constexpr int kernel_layout = 1; // of struct stat64
    return __fxstat64(kernel_layout, file, status);
}

// libstdc++ counts references without atomic operations where this is true; a variable of
// glibc 2.32 and later. There are other threads: the pool's.
char __libc_single_threaded = 0;

} // extern "C"
