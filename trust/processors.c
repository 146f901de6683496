/* Preloaded: the process seems to have $TRUST_PROCESSORS processors without a topology, so that the pool
 * starts as many workers, pinned to none, however few processors there are. */

#define _GNU_SOURCE
#include <errno.h>
#include <sched.h>
#include <stdlib.h>
#include <string.h>

int get_nprocs(void)
{
    return atoi(getenv("TRUST_PROCESSORS"));
}

int sched_getaffinity(pid_t process, size_t size, cpu_set_t* set)
{
    (void)process;
    if (size < sizeof(cpu_set_t)) { /* as Linux does where it has more processors than fit */
        errno = EINVAL;
        return -1;
    }
    memset(set, 0, size);
    CPU_SET(CPU_SETSIZE - 1, set); /* one that no file describes */
    return 0;
}
