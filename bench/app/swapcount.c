/* Preloaded into the viewer to measure it without changing it: counts
 * glfwSwapBuffers calls once the show has loaded and, when the process exits, appends
 * "frames wall_seconds cpu_seconds" (from the first frame on) to the file
 * named by VEXLOR_SWAPCOUNT. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <locale.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <time.h>

typedef void (*swapfunc)(void*);

static unsigned long frames;
static int loading; /* the title says the show is still loading */
static struct timespec first;
static double firstcpu;

static double seconds(const struct timespec* t)
{
    return (double)t->tv_sec + (double)t->tv_nsec * 1e-9;
}

/* User and system time of the whole process, every thread included. */
static double cpuseconds(void)
{
    struct rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return (double)usage.ru_utime.tv_sec + usage.ru_utime.tv_usec * 1e-6 +
           (double)usage.ru_stime.tv_sec + usage.ru_stime.tv_usec * 1e-6;
}

/* Tells the measuring script that frames have begun: VEXLOR_SWAPCOUNT.started. */
static void marker(void)
{
    const char* path = getenv("VEXLOR_SWAPCOUNT");
    if (!path) return;
    char name[4096];
    snprintf(name, sizeof name, "%s.started", path);
    FILE* f = fopen(name, "w");
    if (f) fclose(f);
}

void glfwSwapBuffers(void* window)
{
    static swapfunc real;
    if (!real) {
        void* symbol = dlsym(RTLD_NEXT, "glfwSwapBuffers");
        memcpy(&real, &symbol, sizeof real); /* object to function pointer, portably */
    }
    /* Start-up (loading the scene, its bar drawn meanwhile) is not part of the frames. */
    if (loading) {
        real(window);
        return;
    }
    if (frames++ == 0) {
        clock_gettime(CLOCK_MONOTONIC, &first);
        firstcpu = cpuseconds();
        marker();
    }
    real(window);
}

/* The viewer titles its window "vexlor: loading N%" until the show begins. */
void glfwSetWindowTitle(void* window, const char* title)
{
    static void (*real)(void*, const char*);
    if (!real) {
        void* symbol = dlsym(RTLD_NEXT, "glfwSetWindowTitle");
        memcpy(&real, &symbol, sizeof real);
    }
    loading = strncmp(title, "vexlor:", 7) == 0;
    real(window, title);
}

__attribute__((destructor)) static void report(void)
{
    const char* path = getenv("VEXLOR_SWAPCOUNT");
    if (!path || frames == 0) return;
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    const double cpu = cpuseconds() - firstcpu;
    FILE* f = fopen(path, "a");
    if (!f) return;
    /* The viewer runs under the user's locale; the script reads a point. */
    locale_t classic = newlocale(LC_ALL_MASK, "C", (locale_t)0);
    locale_t previous = classic ? uselocale(classic) : (locale_t)0;
    fprintf(f, "%lu %.3f %.3f\n", frames, seconds(&now) - seconds(&first), cpu);
    if (classic) {
        uselocale(previous);
        freelocale(classic);
    }
    fclose(f);
}
