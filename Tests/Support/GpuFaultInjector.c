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
 * gpu_fault_arm and ask gpu_fault_fired, found with dlsym, when the library was preloaded.
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

/* Each storage call: the real one, resolved through the real glXGetProcAddress, and a wrapper
 * that fails it when its turn comes. */
#define STORAGE(Name, Parameters, Arguments)                                                       \
    static void(*sReal##Name) Parameters;                                                          \
    static void Name Parameters {                                                                  \
        if (Fails(Storage, "gl" #Name)) {                                                          \
            LeaveOutOfMemory();                                                                    \
            return;                                                                                \
        }                                                                                          \
        sReal##Name Arguments;                                                                     \
    }
STORAGE(TexImage2D,
        (GLenum target, GLint level, GLint internalFormat, GLsizei width, GLsizei height,
         GLint border, GLenum format, GLenum type, const void* pixels),
        (target, level, internalFormat, width, height, border, format, type, pixels))
STORAGE(TexStorage2D,
        (GLenum target, GLsizei levels, GLenum internalFormat, GLsizei width, GLsizei height),
        (target, levels, internalFormat, width, height))
STORAGE(RenderbufferStorage, (GLenum target, GLenum internalFormat, GLsizei width, GLsizei height),
        (target, internalFormat, width, height))
STORAGE(RenderbufferStorageMultisample,
        (GLenum target, GLsizei samples, GLenum internalFormat, GLsizei width, GLsizei height),
        (target, samples, internalFormat, width, height))
STORAGE(BufferData, (GLenum target, GLsizeiptr size, const void* data, GLenum usage),
        (target, size, data, usage))
#undef STORAGE

static GLenum (*sRealGetError)(void);

static GLenum GetError(void) {
    GLenum error = 0;
    pthread_mutex_lock(&sPendingLock);
    if (sPendingError != 0 && sPendingContext == eglGetCurrentContext()) {
        error = sPendingError;
        sPendingError = 0;
    }
    pthread_mutex_unlock(&sPendingLock);
    return error != 0 ? error : sRealGetError();
}

/* The wrapper for `name`, with the real function stored, or the real address itself. */
static Proc Wrapped(const char* name, Proc address) {
    if (address == NULL) {
        return NULL;
    }
#define WRAP(Name)                                                                                 \
    if (strcmp(name, "gl" #Name) == 0) {                                                           \
        memcpy(&sReal##Name, &address, sizeof address);                                            \
        return (Proc)Name;                                                                         \
    }
    WRAP(TexImage2D)
    WRAP(TexStorage2D)
    WRAP(RenderbufferStorage)
    WRAP(RenderbufferStorageMultisample)
    WRAP(BufferData)
    WRAP(GetError)
#undef WRAP
    return address;
}

/* The three ways the binding and EGL users look GL functions up. */
#define LOOKUP(Function, Name)                                                                     \
    EXPORT Proc Function(Name name) {                                                              \
        static Proc (*real)(Name);                                                                 \
        if (real == NULL) {                                                                        \
            real = (Proc(*)(Name))Real(#Function);                                                 \
        }                                                                                          \
        return Wrapped((const char*)name, real(name));                                             \
    }
LOOKUP(glXGetProcAddress, const unsigned char*)
LOOKUP(glXGetProcAddressARB, const unsigned char*)
LOOKUP(eglGetProcAddress, const char*)
