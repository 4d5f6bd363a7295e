/* A GPU that fails on request, loaded with LD_PRELOAD into a host process. One occurrence at a
 * time of a class of call fails:
 *   make-current    eglMakeCurrent into a context (releases are never failed)
 *   create-context  eglCreateContext
 *   storage         glTexImage2D, glTexStorage2D, glRenderbufferStorage(Multisample),
 *                   glBufferData: nothing is allocated and GL_OUT_OF_MEMORY is left pending in
 *                   the context that was current, as a driver out of memory does
 * The GL binding resolves GL calls through glXGetProcAddress: wrapping that hands out the
 * wrappers below, glGetError among them, so that the injected error comes before any real one.
 *
 * GPU_FAULT=CLASS:N fails the N-th call of CLASS (from 1). GPU_FAULT_LOG=FILE gets
 * "failed FUNCTION (CLASS N)" when one is failed, and "CLASS COUNT" per class at exit, so that a
 * sweep knows its range; only a process that made such calls writes, not the shells around it.
 * A test can arm it in-process through gpu_fault_arm and ask gpu_fault_fired, found with dlsym.
 */
#define _GNU_SOURCE
#include <EGL/egl.h>
#include <GL/gl.h>
#include <dlfcn.h>
#include <pthread.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define EXPORT __attribute__((visibility("default")))

typedef void (*Proc)(void);

enum { MakeCurrent, CreateContext, Storage, Classes };
static const char* const kClassNames[Classes] = {"make-current", "create-context", "storage"};

static atomic_long sCounts[Classes];
/* The occurrence to fail, counted as sCounts is; 0 for none. */
static atomic_long sTargets[Classes];
static atomic_int sFired;
static const char* sLog;

/* The injected error and the context it belongs to. */
static pthread_mutex_t sPendingLock = PTHREAD_MUTEX_INITIALIZER;
static EGLContext sPendingContext;
static GLenum sPendingError;

static int ClassOf(const char* name) {
    for (int c = 0; c < Classes; ++c) {
        if (strcmp(kClassNames[c], name) == 0) {
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
    const long n = ++sCounts[c];
    if (n != sTargets[c]) {
        return 0;
    }
    sFired = 1;
    FILE* log = sLog == NULL ? NULL : fopen(sLog, "a");
    if (log != NULL) {
        fprintf(log, "failed %s (%s %ld)\n", function, kClassNames[c], n);
        fclose(log);
    }
    return 1;
}

EXPORT int gpu_fault_arm(const char* name, long n) {
    const int c = ClassOf(name);
    if (c < 0) {
        return 0;
    }
    sFired = 0;
    sTargets[c] = sCounts[c] + n;
    return 1;
}

EXPORT int gpu_fault_fired(void) {
    return sFired;
}

__attribute__((constructor)) static void Start(void) {
    sLog = getenv("GPU_FAULT_LOG");
    const char* fault = getenv("GPU_FAULT");
    char name[32];
    long n = 0;
    if (fault != NULL && strchr(fault, ':') != NULL) {
        const int c = sscanf(fault, "%31[^:]:%ld", name, &n) == 2 ? ClassOf(name) : -1;
        if (c < 0 || n < 1) {
            fprintf(stderr, "GpuFaultInjector: GPU_FAULT=%s is not CLASS:N\n", fault);
            abort();
        }
        sTargets[c] = n;
    }
}

__attribute__((destructor)) static void Finish(void) {
    const long total = sCounts[MakeCurrent] + sCounts[CreateContext] + sCounts[Storage];
    FILE* log = sLog == NULL || total == 0 ? NULL : fopen(sLog, "a");
    if (log != NULL) {
        for (int c = 0; c < Classes; ++c) {
            fprintf(log, "%s %ld\n", kClassNames[c], (long)sCounts[c]);
        }
        fclose(log);
    }
}

EXPORT EGLBoolean eglMakeCurrent(EGLDisplay display, EGLSurface draw, EGLSurface read,
                                 EGLContext context) {
    static __typeof__(eglMakeCurrent)* real;
    if (real == NULL) {
        real = Real("eglMakeCurrent");
    }
    if (context != EGL_NO_CONTEXT && Fails(MakeCurrent, "eglMakeCurrent")) {
        return EGL_FALSE;
    }
    return real(display, draw, read, context);
}

EXPORT EGLContext eglCreateContext(EGLDisplay display, EGLConfig config, EGLContext share,
                                   const EGLint* attributes) {
    static __typeof__(eglCreateContext)* real;
    if (real == NULL) {
        real = Real("eglCreateContext");
    }
    if (Fails(CreateContext, "eglCreateContext")) {
        return EGL_NO_CONTEXT;
    }
    return real(display, config, share, attributes);
}

/* Each storage call: the real one, as glXGetProcAddress gave it, and a wrapper
 * that fails it when its turn comes, leaving GL_OUT_OF_MEMORY for the current
 * context. */
#define STORAGE(Name, Parameters, Arguments)                                                       \
    static void(*sReal##Name) Parameters;                                                          \
    static void Name Parameters {                                                                  \
        if (Fails(Storage, "gl" #Name)) {                                                          \
            pthread_mutex_lock(&sPendingLock);                                                     \
            sPendingContext = eglGetCurrentContext();                                              \
            sPendingError = GL_OUT_OF_MEMORY;                                                      \
            pthread_mutex_unlock(&sPendingLock);                                                   \
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
    if (sPendingContext == eglGetCurrentContext()) {
        error = sPendingError;
        sPendingError = 0;
    }
    pthread_mutex_unlock(&sPendingLock);
    return error != 0 ? error : sRealGetError();
}

/* The wrapper for `name`, with the real function stored, or the real address
 * itself. */
static Proc Wrapped(const char* name, Proc address) {
#define WRAP(Name)                                                                                 \
    if (address != NULL && strcmp(name, "gl" #Name) == 0) {                                        \
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
        static __typeof__(Function)* real;                                                         \
        if (real == NULL) {                                                                        \
            real = Real(#Function);                                                                \
        }                                                                                          \
        return Wrapped((const char*)name, real(name));                                             \
    }
LOOKUP(glXGetProcAddress, const unsigned char*)
LOOKUP(glXGetProcAddressARB, const unsigned char*)
LOOKUP(eglGetProcAddress, const char*)
