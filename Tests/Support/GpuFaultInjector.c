/* A GPU that fails on request, loaded with LD_PRELOAD into a host process.
 *
 * Three classes of call can be made to fail, one occurrence at a time:
 *   make-current    eglMakeCurrent into a context (releases are never failed)
 *   create-context  eglCreateContext
 *   storage         glTexImage2D, glTexStorage2D, glRenderbufferStorage,
 *                   glRenderbufferStorageMultisample, glBufferData: nothing is
 *                   allocated and GL_OUT_OF_MEMORY is left pending in the
 *                   context that was current, as a driver out of memory does
 *
 * GL calls reach the code through the GL binding, which resolves them with
 * glXGetProcAddress: wrapping that hands out the wrappers below, glGetError
 * among them, so that the injected error is reported before any real one.
 *
 * Environment:
 *   GPU_FAULT=CLASS:N   fail the N-th call of CLASS (from 1) in the process
 *   GPU_FAULT_LOG=FILE  append "failed FUNCTION (CLASS N)" when one is failed,
 *                       and at exit "CLASS COUNT" for each class, so that a
 *                       sweep knows its range; only a process that made such
 *                       calls writes, so shells and wrappers around it do not
 *
 * A test linked against nothing of this can arm it in-process through
 * gpu_fault_arm, found with dlsym, when the library was preloaded.
 */
#define _GNU_SOURCE
#include <EGL/egl.h>
#include <dlfcn.h>
#include <pthread.h>
#include <stdatomic.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define EXPORT __attribute__((visibility("default")))

typedef unsigned int GLenum;
typedef int GLint;
typedef int GLsizei;
typedef ptrdiff_t GLsizeiptr;
typedef void (*Proc)(void);

enum { MakeCurrent, CreateContext, Storage, Classes };
static const char* const kClassNames[Classes] = {"make-current", "create-context", "storage"};
static const GLenum kOutOfMemory = 0x0505;

static atomic_long sCounts[Classes];
/* The occurrence to fail, counted as sCounts is; 0 for none. */
static atomic_long sTargets[Classes];
static atomic_int sFired;
static const char* sLog;

/* The injected error and the context it belongs to. */
static pthread_mutex_t sPendingLock = PTHREAD_MUTEX_INITIALIZER;
static EGLContext sPendingContext;
static GLenum sPendingError;

static int ClassOf(const char* name, size_t length) {
    for (int c = 0; c < Classes; ++c) {
        if (strlen(kClassNames[c]) == length && strncmp(kClassNames[c], name, length) == 0) {
            return c;
        }
    }
    return -1;
}

static void* Real(const char* name) {
    void* address = dlsym(RTLD_NEXT, name);
    if (address == NULL) {
        fprintf(stderr, "GpuFaultInjector: no %s to wrap\n", name);
        abort();
    }
    return address;
}

/* Counts the call; whether this is the one to fail. */
static int Fails(int c, const char* function) {
    const long n = atomic_fetch_add(&sCounts[c], 1) + 1;
    if (n != atomic_load(&sTargets[c])) {
        return 0;
    }
    atomic_store(&sFired, 1);
    if (sLog != NULL) {
        FILE* log = fopen(sLog, "a");
        if (log != NULL) {
            fprintf(log, "failed %s (%s %ld)\n", function, kClassNames[c], n);
            fclose(log);
        }
    }
    return 1;
}

static void LeaveOutOfMemory(void) {
    pthread_mutex_lock(&sPendingLock);
    sPendingContext = eglGetCurrentContext();
    sPendingError = kOutOfMemory;
    pthread_mutex_unlock(&sPendingLock);
}

EXPORT int gpu_fault_arm(const char* name, long n) {
    const int c = ClassOf(name, strlen(name));
    if (c < 0) {
        return 0;
    }
    atomic_store(&sFired, 0);
    atomic_store(&sTargets[c], atomic_load(&sCounts[c]) + n);
    return 1;
}

EXPORT long gpu_fault_count(const char* name) {
    const int c = ClassOf(name, strlen(name));
    return c < 0 ? -1 : atomic_load(&sCounts[c]);
}

EXPORT int gpu_fault_fired(void) {
    return atomic_load(&sFired);
}

__attribute__((constructor)) static void Start(void) {
    sLog = getenv("GPU_FAULT_LOG");
    const char* fault = getenv("GPU_FAULT");
    const char* colon = fault == NULL ? NULL : strchr(fault, ':');
    if (colon != NULL) {
        const int c = ClassOf(fault, (size_t)(colon - fault));
        const long n = strtol(colon + 1, NULL, 10);
        if (c < 0 || n < 1) {
            fprintf(stderr, "GpuFaultInjector: GPU_FAULT=%s is not CLASS:N\n", fault);
            abort();
        }
        atomic_store(&sTargets[c], n);
    }
}

__attribute__((destructor)) static void Finish(void) {
    long total = 0;
    for (int c = 0; c < Classes; ++c) {
        total += atomic_load(&sCounts[c]);
    }
    FILE* log = sLog == NULL || total == 0 ? NULL : fopen(sLog, "a");
    if (log != NULL) {
        for (int c = 0; c < Classes; ++c) {
            fprintf(log, "%s %ld\n", kClassNames[c], atomic_load(&sCounts[c]));
        }
        fclose(log);
    }
}

EXPORT EGLBoolean eglMakeCurrent(EGLDisplay display, EGLSurface draw, EGLSurface read,
                                 EGLContext context) {
    static EGLBoolean (*real)(EGLDisplay, EGLSurface, EGLSurface, EGLContext);
    if (real == NULL) {
        real =
            (EGLBoolean(*)(EGLDisplay, EGLSurface, EGLSurface, EGLContext))Real("eglMakeCurrent");
    }
    if (context != EGL_NO_CONTEXT && Fails(MakeCurrent, "eglMakeCurrent")) {
        return EGL_FALSE;
    }
    return real(display, draw, read, context);
}

EXPORT EGLContext eglCreateContext(EGLDisplay display, EGLConfig config, EGLContext share,
                                   const EGLint* attributes) {
    static EGLContext (*real)(EGLDisplay, EGLConfig, EGLContext, const EGLint*);
    if (real == NULL) {
        real = (EGLContext(*)(EGLDisplay, EGLConfig, EGLContext, const EGLint*))Real(
            "eglCreateContext");
    }
    if (Fails(CreateContext, "eglCreateContext")) {
        return EGL_NO_CONTEXT;
    }
    return real(display, config, share, attributes);
}

/* The real GL entry points, resolved through the real glXGetProcAddress. */
static void (*sTexImage2D)(GLenum, GLint, GLint, GLsizei, GLsizei, GLint, GLenum, GLenum,
                           const void*);
static void (*sTexStorage2D)(GLenum, GLsizei, GLenum, GLsizei, GLsizei);
static void (*sRenderbufferStorage)(GLenum, GLenum, GLsizei, GLsizei);
static void (*sRenderbufferStorageMultisample)(GLenum, GLsizei, GLenum, GLsizei, GLsizei);
static void (*sBufferData)(GLenum, GLsizeiptr, const void*, GLenum);
static GLenum (*sGetError)(void);

static void TexImage2D(GLenum target, GLint level, GLint internalFormat, GLsizei width,
                       GLsizei height, GLint border, GLenum format, GLenum type,
                       const void* pixels) {
    if (Fails(Storage, "glTexImage2D")) {
        LeaveOutOfMemory();
        return;
    }
    sTexImage2D(target, level, internalFormat, width, height, border, format, type, pixels);
}

static void TexStorage2D(GLenum target, GLsizei levels, GLenum internalFormat, GLsizei width,
                         GLsizei height) {
    if (Fails(Storage, "glTexStorage2D")) {
        LeaveOutOfMemory();
        return;
    }
    sTexStorage2D(target, levels, internalFormat, width, height);
}

static void RenderbufferStorage(GLenum target, GLenum internalFormat, GLsizei width,
                                GLsizei height) {
    if (Fails(Storage, "glRenderbufferStorage")) {
        LeaveOutOfMemory();
        return;
    }
    sRenderbufferStorage(target, internalFormat, width, height);
}

static void RenderbufferStorageMultisample(GLenum target, GLsizei samples, GLenum internalFormat,
                                           GLsizei width, GLsizei height) {
    if (Fails(Storage, "glRenderbufferStorageMultisample")) {
        LeaveOutOfMemory();
        return;
    }
    sRenderbufferStorageMultisample(target, samples, internalFormat, width, height);
}

static void BufferData(GLenum target, GLsizeiptr size, const void* data, GLenum usage) {
    if (Fails(Storage, "glBufferData")) {
        LeaveOutOfMemory();
        return;
    }
    sBufferData(target, size, data, usage);
}

static GLenum GetError(void) {
    GLenum error = 0;
    pthread_mutex_lock(&sPendingLock);
    if (sPendingError != 0 && sPendingContext == eglGetCurrentContext()) {
        error = sPendingError;
        sPendingError = 0;
    }
    pthread_mutex_unlock(&sPendingLock);
    return error != 0 ? error : sGetError();
}

/* The wrapper for `name`, with the real function stored, or the real address itself. */
static Proc Wrapped(const char* name, Proc address) {
    if (address == NULL) {
        return NULL;
    }
#define WRAP(glName, slot, wrapper)                                                                \
    if (strcmp(name, glName) == 0) {                                                               \
        memcpy(&slot, &address, sizeof address);                                                   \
        return (Proc)wrapper;                                                                      \
    }
    WRAP("glTexImage2D", sTexImage2D, TexImage2D)
    WRAP("glTexStorage2D", sTexStorage2D, TexStorage2D)
    WRAP("glRenderbufferStorage", sRenderbufferStorage, RenderbufferStorage)
    WRAP("glRenderbufferStorageMultisample", sRenderbufferStorageMultisample,
         RenderbufferStorageMultisample)
    WRAP("glBufferData", sBufferData, BufferData)
    WRAP("glGetError", sGetError, GetError)
#undef WRAP
    return address;
}

EXPORT Proc glXGetProcAddress(const unsigned char* name) {
    static Proc (*real)(const unsigned char*);
    if (real == NULL) {
        real = (Proc(*)(const unsigned char*))Real("glXGetProcAddress");
    }
    return Wrapped((const char*)name, real(name));
}

EXPORT Proc glXGetProcAddressARB(const unsigned char* name) {
    static Proc (*real)(const unsigned char*);
    if (real == NULL) {
        real = (Proc(*)(const unsigned char*))Real("glXGetProcAddressARB");
    }
    return Wrapped((const char*)name, real(name));
}

EXPORT Proc eglGetProcAddress(const char* name) {
    static Proc (*real)(const char*);
    if (real == NULL) {
        real = (Proc(*)(const char*))Real("eglGetProcAddress");
    }
    return Wrapped(name, real(name));
}
