/* Preloaded into the viewer to time its frames without changing it: appends
 * the monotonic clock's reading (seconds) at every glfwSwapBuffers call, one
 * a line, to the file named by VEXLOR_SWAPTIMES. bench/app/measure-reload
 * reads it against the times of its saves. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

typedef void (*swapfunc)(void*);

void glfwSwapBuffers(void* window)
{
    static swapfunc real;
    static FILE* out;
    if (!real) {
        void* symbol = dlsym(RTLD_NEXT, "glfwSwapBuffers");
        memcpy(&real, &symbol, sizeof real); /* object to function pointer, portably */
    }
    real(window);
    if (!out) {
        const char* path = getenv("VEXLOR_SWAPTIMES");
        if (!path || !(out = fopen(path, "a"))) return;
        setvbuf(out, NULL, _IOLBF, 0);
    }
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    fprintf(out, "%.6f\n", (double)now.tv_sec + (double)now.tv_nsec * 1e-9);
}
