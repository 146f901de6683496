/* Preloaded into a Python process: fails chosen allocations, starts of threads, or both.
 *
 * The module's libstdc++ is linked into it, so that what it allocates by malloc, realloc or
 * operator new is a call of the C library's malloc or realloc from an address inside the module.
 * Python's own allocations are failed by an allocator set around its own. Everything else keeps its
 * memory.
 *
 * Requests are counted from arm() on. From place `first` on `row` of them fail; more than
 * one tell whether what handles a failure allocates.
 */

#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <execinfo.h>
#include <pthread.h>
#include <stdatomic.h>
#include <stdlib.h>
#include <string.h>

void* __libc_malloc(size_t size);
void* __libc_realloc(void* block, size_t size);

enum source { of_module = 1, of_python = 2, of_threads = 4, of_python_for_module = 8 };

static _Atomic(char*) module_from, module_to;
static atomic_int armed; /* sources whose requests count; none before arm() */
static atomic_long counted, first_failing, in_a_row, failed;

static int lies_in_module(const void* address)
{
    return (const char*)address >= atomic_load(&module_from) &&
           (const char*)address < atomic_load(&module_to);
}

/* Whether the module asked, rather than the interpreter for bytecode: CPython loses blocks of its
 * own where it gets no memory for a frame or what bytecode makes. */
static int module_asked(void)
{
    void* frames[64];
    const int count = backtrace(frames, 64);
    for (int i = 0; i < count; ++i) {
        Dl_info symbol;
        if (lies_in_module(frames[i]))
            return 1;
        if (dladdr(frames[i], &symbol) != 0 && symbol.dli_sname != NULL &&
            (strcmp(symbol.dli_sname, "_PyEval_EvalFrameDefault") == 0 ||
             strcmp(symbol.dli_sname, "_PyFunction_Vectorcall") == 0))
            return 0;
    }
    return 0;
}

static int fails(enum source source)
{
    const int wanted = atomic_load(&armed);
    if (source == of_python && (wanted & of_python_for_module) != 0 && module_asked())
        source = of_python_for_module;
    if ((wanted & source) == 0)
        return 0;
    const long place = atomic_fetch_add(&counted, 1);
    const long first = atomic_load(&first_failing);
    if (first < 0 || place < first || place - first >= atomic_load(&in_a_row))
        return 0;
    atomic_fetch_add(&failed, 1);
    return 1;
}

static int is_in_module(const void* address)
{
    return atomic_load(&armed) != 0 && lies_in_module(address);
}

void set_module(char* from, char* to)
{
    atomic_store(&module_from, from);
    atomic_store(&module_to, to);
}

void arm(int sources, long first, long row)
{
    atomic_store(&counted, 0);
    atomic_store(&failed, 0);
    atomic_store(&first_failing, first);
    atomic_store(&in_a_row, row);
    atomic_store(&armed, sources);
}

/* The number of requests since arm(). */
long disarm(void)
{
    atomic_store(&armed, 0);
    return atomic_load(&counted);
}

/* How many of them failed. */
long failures(void)
{
    return atomic_load(&failed);
}

/* function(argument) with nothing of the caller's armed: what Python needs to make this call, and
 * to look at its result, isn't failed. A result beside an error ends the process. */
void* armed_call(void* function, void* argument, int sources, long first, long row)
{
    static void* (*call)(void*, ...);
    static void* (*error)(void);
    if (call == NULL) {
        *(void**)&error = dlsym(RTLD_DEFAULT, "PyErr_Occurred");
        *(void**)&call = dlsym(RTLD_DEFAULT, "PyObject_CallFunctionObjArgs");
    }
    arm(sources, first, row);
    void* result = call(function, argument, NULL);
    disarm();
    if ((result == NULL) == (error() == NULL))
        abort();
    return result;
}

/* --- the C library's functions as the module calls them ----------------------------------------
 */
void* malloc(size_t size)
{
    if (is_in_module(__builtin_return_address(0)) && fails(of_module)) {
        errno = ENOMEM;
        return NULL;
    }
    return __libc_malloc(size);
}

void* realloc(void* block, size_t size)
{
    if (is_in_module(__builtin_return_address(0)) && fails(of_module)) {
        errno = ENOMEM;
        return NULL;
    }
    return __libc_realloc(block, size);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                   void* argument)
{
    static int (*next)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    if (next == NULL)
        *(void**)&next = dlsym(RTLD_NEXT, "pthread_create");
    if (is_in_module(__builtin_return_address(0)) && fails(of_threads))
        return EAGAIN;
    return next(thread, attributes, body, argument);
}

/* --- Python's allocators ------------------------------------------------------------------------
 */
struct allocator
{ /* PyMemAllocatorEx */
    void* context;
    void* (*malloc)(void* context, size_t size);
    void* (*calloc)(void* context, size_t count, size_t size);
    void* (*realloc)(void* context, void* block, size_t size);
    void (*free)(void* context, void* block);
};

static struct allocator pythons[3]; /* raw, mem, object */

static void* hooked_malloc(void* context, size_t size)
{
    const struct allocator* a = context;
    return fails(of_python) ? NULL : a->malloc(a->context, size);
}

static void* hooked_calloc(void* context, size_t count, size_t size)
{
    const struct allocator* a = context;
    return fails(of_python) ? NULL : a->calloc(a->context, count, size);
}

static void* hooked_realloc(void* context, void* block, size_t size)
{
    const struct allocator* a = context;
    return fails(of_python) ? NULL : a->realloc(a->context, block, size);
}

static void hooked_free(void* context, void* block)
{
    const struct allocator* a = context;
    a->free(a->context, block);
}

void hook_python(void)
{
    void (*get)(int, struct allocator*);
    void (*set)(int, struct allocator*);
    *(void**)&get = dlsym(RTLD_DEFAULT, "PyMem_GetAllocator");
    *(void**)&set = dlsym(RTLD_DEFAULT, "PyMem_SetAllocator");
    for (int domain = 0; domain < 3; ++domain) {
        get(domain, &pythons[domain]);
        struct allocator hooked = {&pythons[domain], hooked_malloc, hooked_calloc, hooked_realloc,
                                   hooked_free};
        set(domain, &hooked);
    }
}
