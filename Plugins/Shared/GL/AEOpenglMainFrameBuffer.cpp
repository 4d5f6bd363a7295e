#include "AEOpenglMainFrameBuffer.h"

#include "ScreenRender.h"
#include "Vec2.h"

#include <glbinding/gl/gl.h>

#include <algorithm>
#include <mutex>

using namespace gl;

namespace Brindel::GaussianBlur {

namespace {

constexpr int kSamples = 8;

// magFilter GL_NONE leaves GL's default. The storage is specified without a client buffer: every
// user of these textures writes them whole before reading them.
GLuint CreateTexture(GLsizei width, GLsizei height, GLenum internalFormat, GLenum minFilter,
                     GLenum magFilter) {
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, minFilter);
    if (magFilter != GL_NONE) {
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, magFilter);
    }
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glTexImage2D(GL_TEXTURE_2D, 0, internalFormat, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE,
                 nullptr);
    glBindTexture(GL_TEXTURE_2D, 0);
    return texture;
}

// A texture of a whole frame's size.
GLuint CreateTexture(std::uint32_t width, std::uint32_t height, GLenum internalFormat,
                     GLenum minFilter, GLenum magFilter) {
    return CreateTexture(static_cast<GLsizei>(width), static_cast<GLsizei>(height), internalFormat,
                         minFilter, magFilter);
}

// A texture of a size given in the kit's doubles, cut to whole pixels.
GLuint CreateTexture(const Vec2& size, GLenum internalFormat, GLenum minFilter, GLenum magFilter) {
    return CreateTexture(static_cast<GLsizei>(size.x), static_cast<GLsizei>(size.y), internalFormat,
                         minFilter, magFilter);
}

void DeleteRenderbuffers(std::vector<GLuint>& names) {
    if (!names.empty()) {
        glDeleteRenderbuffers(static_cast<GLsizei>(names.size()), names.data());
        names.clear();
    }
}

void DeleteTextures(std::vector<GLuint>& names) {
    if (!names.empty()) {
        glDeleteTextures(static_cast<GLsizei>(names.size()), names.data());
        names.clear();
    }
}

// Filters of the 8-bit and the float render textures.
struct Filters {
    GLenum min;
    GLenum mag;
};

Filters RenderFilters(bool mipmapped) {
    return mipmapped ? Filters{GL_LINEAR_MIPMAP_LINEAR, GL_NONE} : Filters{GL_LINEAR, GL_LINEAR};
}

Filters FloatFilters(bool linear, bool mipmapped) {
    if (mipmapped) {
        return {linear ? GL_LINEAR_MIPMAP_LINEAR : GL_LINEAR_MIPMAP_NEAREST, GL_NONE};
    }
    const GLenum filter = linear ? GL_LINEAR : GL_NEAREST;
    return {filter, filter};
}

} // namespace

AEOpenglMainFrameBuffer::AEOpenglMainFrameBuffer()
    : mScreenRender(std::make_unique<ScreenRender>()) {}

AEOpenglMainFrameBuffer::~AEOpenglMainFrameBuffer() = default;

namespace {

// The instance is made by whichever thread asks first, and may be freed at unload and made
// again by a later set-up: both go under this lock, whatever else the callers hold.
std::mutex& InstanceMutex() {
    static std::mutex mutex;
    return mutex;
}

AEOpenglMainFrameBuffer*& SharedInstance() {
    static AEOpenglMainFrameBuffer* instance = nullptr;
    return instance;
}

} // namespace

AEOpenglMainFrameBuffer* AEOpenglMainFrameBuffer::mainFrameBuffer() {
    const std::lock_guard<std::mutex> lock(InstanceMutex());
    AEOpenglMainFrameBuffer*& instance = SharedInstance();
    if (instance == nullptr) {
        instance = new AEOpenglMainFrameBuffer();
    }
    return instance;
}

void AEOpenglMainFrameBuffer::releaseMainFrameBuffer() {
    const std::lock_guard<std::mutex> lock(InstanceMutex());
    AEOpenglMainFrameBuffer*& instance = SharedInstance();
    if (instance != nullptr && !instance->mHoldsGLObjects) {
        delete instance;
        instance = nullptr;
    }
}

void AEOpenglMainFrameBuffer::prepare(long width, long height, bool multisampled) {
    mHoldsGLObjects = true;
    useFramebuffersOfCurrentContext();
    if (mWidth == width && mHeight == height) {
        // Prepared in another context: this one needs frame-buffer objects of its own.
        if (mMainRenderbuffer != 0 && mFramebuffer == 0) {
            makeFramebuffers();
        }
        return;
    }
    // Checked before anything is made or taken down, so that a refused frame leaves the last
    // frame's objects as they were.
    if (!limits().fits(width, height)) {
        throw kFrameTooLarge;
    }
    unprepare();
    mWidth = static_cast<std::uint32_t>(width);
    mHeight = static_cast<std::uint32_t>(height);
    mMultisampled = multisampled;
    makeFramebuffers();
    glGenRenderbuffers(1, &mMainRenderbuffer);
    glBindRenderbuffer(GL_RENDERBUFFER, mMainRenderbuffer);
    glRenderbufferStorage(GL_RENDERBUFFER, GL_RGBA, static_cast<GLsizei>(mWidth),
                          static_cast<GLsizei>(mHeight));
}

const GLContextLimits& AEOpenglMainFrameBuffer::limits() {
    useFramebuffersOfCurrentContext();
    if (!mLimitsRead) {
        mLimits = GLContextLimits::query();
        mLimitsRead = true;
    }
    return mLimits;
}

void AEOpenglMainFrameBuffer::unprepare() {
    // A frame-buffer object can only be deleted in its own context; in any other the same name
    // may stand for another object. Those of other contexts go with their contexts.
    const bool ownContext = AEOpenGLContext::currentPlatformContext() == mFramebufferContext;
    for (GLuint* framebuffer : {&mResolveFramebuffer, &mFramebuffer, &mMultisampleFramebuffer}) {
        if (*framebuffer != 0 && ownContext) {
            glDeleteFramebuffers(1, framebuffer);
        }
        *framebuffer = 0;
    }
    if (mMainRenderbuffer != 0) {
        glDeleteRenderbuffers(1, &mMainRenderbuffer);
        mMainRenderbuffer = 0;
    }
    clearStack();
    releaseKeptStorage();
    // Unprepared again, so that the next prepare remakes everything whatever its size.
    mWidth = 0;
    mHeight = 0;
}

void AEOpenglMainFrameBuffer::clearStack() {
    for (const GLuint renderbuffer : mRenderbufferStack) {
        glDeleteRenderbuffers(1, &renderbuffer);
    }
    for (const auto& entry : mStencilBuffers) {
        glDeleteRenderbuffers(1, &entry.second);
    }
    mRenderbufferStack.clear();
    mStencilBuffers.clear();
}

void AEOpenglMainFrameBuffer::discardFrameObjects() {
    unprepare();
    mScreenRender->releaseBuffer();
}

void AEOpenglMainFrameBuffer::releaseKeptStorage() {
    DeleteRenderbuffers(mFreeLevels);
    DeleteRenderbuffers(mFreeStencilBuffers);
    DeleteTextures(mFreeTextures);
    DeleteTextures(mLentTextures);
    if (mInputTexture != 0) {
        glDeleteTextures(1, &mInputTexture);
        mInputTexture = 0;
    }
}

void AEOpenglMainFrameBuffer::destory() {
    unprepare();
    // Set-down deletes the contexts next, and their frame-buffer objects with them.
    mOtherFramebuffers.clear();
    mFramebufferContext = nullptr;
    mLimitsRead = false;
    mScreenRender = std::make_unique<ScreenRender>();
    mHoldsGLObjects = false;
}

void AEOpenglMainFrameBuffer::beginDrawing() {
    // The draw buffer is state of the bound frame-buffer object, and on a context's own
    // frame-buffer (there is none here) this one is an error: bind the stack's first.
    glBindFramebuffer(GL_FRAMEBUFFER, stackFramebuffer());
    glDrawBuffer(GL_COLOR_ATTACHMENT0);
    glDisable(GL_BLEND);
    if (mMultisampled) {
        glEnable(GL_MULTISAMPLE);
    }
    pushRenderContext(false, false);
    glViewport(0, 0, static_cast<GLsizei>(mWidth), static_cast<GLsizei>(mHeight));
}

void AEOpenglMainFrameBuffer::endDrawing(float multiplier) {
    GLuint texture = popRenderContext();
    if (texture == 0) {
        return;
    }
    glBindFramebuffer(GL_FRAMEBUFFER, mFramebuffer);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER,
                              mMainRenderbuffer);
    glDisable(GL_BLEND);
    glDisable(GL_MULTISAMPLE);
    // The clear colour is the transparent black of the last push.
    glClear(GL_COLOR_BUFFER_BIT);
    mScreenRender->draw(texture, multiplier);
    recycleTexture(texture);
}

void AEOpenglMainFrameBuffer::pushRenderContext(bool /*unused*/, bool withStencil) {
    const GLuint colour = takeLevel(mFreeLevels, static_cast<unsigned int>(GL_RGBA));
    glBindFramebuffer(GL_FRAMEBUFFER, stackFramebuffer());
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, colour);
    if (withStencil) {
        const GLuint stencil =
            takeLevel(mFreeStencilBuffers, static_cast<unsigned int>(GL_STENCIL_INDEX8));
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_STENCIL_ATTACHMENT, GL_RENDERBUFFER, stencil);
        mStencilBuffers[colour] = stencil;
    }
    mRenderbufferStack.push_back(colour);
    glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
    glClear(GL_COLOR_BUFFER_BIT);
}

GLuint AEOpenglMainFrameBuffer::popRenderContext() {
    if (mRenderbufferStack.empty()) {
        return 0;
    }
    GLuint texture = 0;
    if (mFreeTextures.empty()) {
        texture = createRenderTexture(false);
    } else {
        texture = mFreeTextures.back();
        mFreeTextures.pop_back();
    }
    mLentTextures.push_back(texture);
    const auto width = static_cast<GLint>(mWidth);
    const auto height = static_cast<GLint>(mHeight);
    if (mMultisampled) {
        glBindFramebuffer(GL_READ_FRAMEBUFFER, mMultisampleFramebuffer);
        glBindFramebuffer(GL_DRAW_FRAMEBUFFER, mResolveFramebuffer);
        glFramebufferTexture2D(GL_DRAW_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture,
                               0);
        glBlitFramebuffer(0, 0, width, height, 0, 0, width, height, GL_COLOR_BUFFER_BIT,
                          GL_NEAREST);
        // Left attached, a texture that a caller deletes would keep its storage until the next
        // pop: deleting detaches it only from the frame-buffer objects bound at that moment.
        glFramebufferTexture2D(GL_DRAW_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, 0, 0);
    } else {
        // Into the texture's existing storage: a copy that specified it anew would allocate.
        glBindTexture(GL_TEXTURE_2D, texture);
        glCopyTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, 0, 0, width, height);
    }

    const GLuint top = mRenderbufferStack.back();
    mRenderbufferStack.pop_back();
    mFreeLevels.push_back(top);
    const auto stencil = mStencilBuffers.find(top);
    if (stencil != mStencilBuffers.end()) {
        mFreeStencilBuffers.push_back(stencil->second);
        mStencilBuffers.erase(stencil);
    }

    if (!mRenderbufferStack.empty()) {
        const GLuint below = mRenderbufferStack.back();
        glBindRenderbuffer(GL_RENDERBUFFER, below);
        glBindFramebuffer(GL_FRAMEBUFFER, stackFramebuffer());
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, below);
    }
    return texture;
}

void AEOpenglMainFrameBuffer::recycleTexture(unsigned int texture) {
    if (texture == 0) {
        return;
    }
    const auto lent = std::find(mLentTextures.begin(), mLentTextures.end(), texture);
    if (lent == mLentTextures.end()) {
        glDeleteTextures(1, &texture);
        return;
    }
    mLentTextures.erase(lent);
    mFreeTextures.push_back(texture);
}

GLuint AEOpenglMainFrameBuffer::frameInputTexture() {
    if (mInputTexture == 0) {
        mInputTexture = createFloatRenderTexture(true, false);
    }
    return mInputTexture;
}

void AEOpenglMainFrameBuffer::pushNormalRenderContext(unsigned int texture) {
    attachNormalTarget(texture, 0);
}

void AEOpenglMainFrameBuffer::pushNormalRenderContext(unsigned int texture, const Vec2& size,
                                                      int level) {
    attachNormalTarget(texture, level);
    glViewport(0, 0, static_cast<GLsizei>(size.x), static_cast<GLsizei>(size.y));
}

void AEOpenglMainFrameBuffer::attachNormalTarget(unsigned int texture, int level) {
    GLuint framebuffer = 0;
    glGenFramebuffers(1, &framebuffer);
    glBindRenderbuffer(GL_RENDERBUFFER, 0);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, level);
    glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
    glClear(GL_COLOR_BUFFER_BIT);
}

void AEOpenglMainFrameBuffer::popNormalRenderContext() {
    // The temporary name is not kept: the binding holds it.
    GLint bound = 0;
    glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &bound);
    const auto framebuffer = static_cast<GLuint>(bound);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, 0, 0);
    glBindRenderbuffer(GL_RENDERBUFFER, 0);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glDeleteFramebuffers(1, &framebuffer);
    if (!mRenderbufferStack.empty()) {
        const GLuint top = mRenderbufferStack.back();
        glBindRenderbuffer(GL_RENDERBUFFER, top);
        glBindFramebuffer(GL_FRAMEBUFFER, stackFramebuffer());
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, top);
        const GLenum drawBuffers[] = {GL_COLOR_ATTACHMENT0};
        glDrawBuffers(1, drawBuffers);
        glViewport(0, 0, static_cast<GLsizei>(mWidth), static_cast<GLsizei>(mHeight));
    }
}

GLuint AEOpenglMainFrameBuffer::createRenderTexture(bool mipmapped) {
    const Filters f = RenderFilters(mipmapped);
    return CreateTexture(mWidth, mHeight, GL_RGBA, f.min, f.mag);
}

GLuint AEOpenglMainFrameBuffer::createRenderTexture(const Vec2& size, bool mipmapped) {
    const Filters f = RenderFilters(mipmapped);
    return CreateTexture(size, GL_RGBA, f.min, f.mag);
}

GLuint AEOpenglMainFrameBuffer::createFloatRenderTexture(bool linear, bool mipmapped) {
    const Filters f = FloatFilters(linear, mipmapped);
    return CreateTexture(mWidth, mHeight, GL_RGBA32F, f.min, f.mag);
}

GLuint AEOpenglMainFrameBuffer::createFloatRenderTexture(const Vec2& size, bool linear,
                                                         bool mipmapped) {
    const Filters f = FloatFilters(linear, mipmapped);
    return CreateTexture(size, GL_RGBA32F, f.min, f.mag);
}

void AEOpenglMainFrameBuffer::useFramebuffersOfCurrentContext() {
    const AEOpenGLContext::PlatformContext context = AEOpenGLContext::currentPlatformContext();
    if (context == mFramebufferContext) {
        return;
    }
    if (mFramebuffer != 0 || mLimitsRead) {
        mOtherFramebuffers[mFramebufferContext] = {mResolveFramebuffer, mFramebuffer,
                                                   mMultisampleFramebuffer, mLimits, mLimitsRead};
    }
    Framebuffers own;
    const auto found = mOtherFramebuffers.find(context);
    if (found != mOtherFramebuffers.end()) {
        own = found->second;
        mOtherFramebuffers.erase(found);
    }
    mResolveFramebuffer = own.resolve;
    mFramebuffer = own.framebuffer;
    mMultisampleFramebuffer = own.multisample;
    mLimits = own.limits;
    mLimitsRead = own.limitsRead;
    mFramebufferContext = context;
}

void AEOpenglMainFrameBuffer::makeFramebuffers() {
    glGenFramebuffers(1, &mFramebuffer);
    if (mMultisampled) {
        glGenFramebuffers(1, &mResolveFramebuffer);
        glGenFramebuffers(1, &mMultisampleFramebuffer);
        // Asking for more samples than the context offers leaves the level incomplete and the
        // frame black; a full-screen quad covers every sample, so fewer change nothing.
        mSamples = limits().samples(kSamples);
    }
}

GLuint AEOpenglMainFrameBuffer::takeLevel(std::vector<GLuint>& pool, unsigned int format) const {
    GLuint level = 0;
    if (pool.empty()) {
        glGenRenderbuffers(1, &level);
        glBindRenderbuffer(GL_RENDERBUFFER, level);
        allocateLevel(format);
    } else {
        level = pool.back();
        pool.pop_back();
        glBindRenderbuffer(GL_RENDERBUFFER, level);
    }
    return level;
}

GLuint AEOpenglMainFrameBuffer::stackFramebuffer() const {
    return mMultisampled ? mMultisampleFramebuffer : mFramebuffer;
}

void AEOpenglMainFrameBuffer::allocateLevel(unsigned int format) const {
    const auto internalFormat = static_cast<GLenum>(format);
    if (mMultisampled) {
        glRenderbufferStorageMultisample(GL_RENDERBUFFER, mSamples, internalFormat,
                                         static_cast<GLsizei>(mWidth),
                                         static_cast<GLsizei>(mHeight));
    } else {
        glRenderbufferStorage(GL_RENDERBUFFER, internalFormat, static_cast<GLsizei>(mWidth),
                              static_cast<GLsizei>(mHeight));
    }
}

} // namespace Brindel::GaussianBlur
