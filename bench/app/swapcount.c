/* Preloaded into the viewer to measure it without changing it: counts
 * glfwSwapBuffers calls and, when the process exits, appends
 * "frames wall_seconds cpu_seconds" to the file named by VEXLOR_SWAPCOUNT. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <time.h>

typedef void (*swapfunc)(void*);

static unsigned long frames;
static struct timespec first;

static double seconds(const struct timespec* t)
{
    return (double)t->tv_sec + (double)t->tv_nsec * 1e-9;
}

void glfwSwapBuffers(void* window)
{
    static swapfunc real;
    if (!real) {
        void* symbol = dlsym(RTLD_NEXT, "glfwSwapBuffers");
        memcpy(&real, &symbol, sizeof real); /* object to function pointer, portably */
    }
    if (frames++ == 0) clock_gettime(CLOCK_MONOTONIC, &first);
    real(window);
}

__attribute__((destructor)) static void report(void)
{
    const char* path = getenv("VEXLOR_SWAPCOUNT");
    if (!path || frames == 0) return;
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    struct rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    const double cpu = (double)usage.ru_utime.tv_sec + usage.ru_utime.tv_usec * 1e-6 +
                       (double)usage.ru_stime.tv_sec + usage.ru_stime.tv_usec * 1e-6;
    FILE* f = fopen(path, "a");
    if (!f) return;
    fprintf(f, "%lu %.3f %.3f\n", frames, seconds(&now) - seconds(&first), cpu);
    fclose(f);
}
