#pragma once

#include "AEOpenGLContext.h"
#include "GLContextLimits.h"

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

namespace Brindel::GaussianBlur {

class ScreenRender;
class Vec2;

/// The off-screen targets of a frame: a stack of colour renderbuffers, single-sampled or
/// multisampled. A push opens a level cleared to transparent black; a pop resolves the top level
/// into a texture that it lends the caller, and the level below becomes the target again with its
/// image as it was. `endDrawing` passes the bottom level through ScreenRender into one persistent
/// renderbuffer, which stays bound for the read-back.
///
/// The storage of a frame is kept while the size stays: the levels' renderbuffers, the textures
/// that pops lend and the frame's input texture are made at their first use and handed out again
/// on later frames, so that a steady run makes and specifies nothing per frame. Making and freeing
/// frame-sized storage every frame makes drivers return it to the process's allocator, whose heap
/// then grows without bound in hosts we do not own. A change of size, and set-down, release them.
///
/// Frame-buffer objects are not shared between contexts, while frames may be rendered on several
/// threads in turn, each with its own context: every context that prepares a frame gets its own
/// set of frame-buffer objects, kept for its later frames. The renderbuffers are shared.
///
/// Construction makes no GL call. Every other operation but `mainFrameBuffer`, `width` and
/// `height` needs a context of the share group current, and frames must not overlap.
class AEOpenglMainFrameBuffer {
public:
    AEOpenglMainFrameBuffer();
    /// Frees the final pass, whose GL objects need a context if it has drawn: `destory` takes
    /// everything down first.
    ~AEOpenglMainFrameBuffer();

    AEOpenglMainFrameBuffer(const AEOpenglMainFrameBuffer&) = delete;
    AEOpenglMainFrameBuffer& operator=(const AEOpenglMainFrameBuffer&) = delete;

    /// The process-wide instance, made on the first call.
    static AEOpenglMainFrameBuffer* mainFrameBuffer();
    /// Frees the process-wide instance when it holds no GL object (never prepared, or taken down
    /// by `destory`), as when the module is unloaded; otherwise, with no context to delete them
    /// in, it is left as it is.
    static void releaseMainFrameBuffer();

    /// Thrown, as a plain integer (the host's out-of-memory code), by `prepare` for a frame larger
    /// than the current context can hold; nothing is made then.
    static constexpr int kFrameTooLarge = 4;

    /// Sizes the objects for a frame. A frame of the size of the last one keeps them; the mode
    /// chosen at the last change of size stays. A frame beyond the context's limits throws
    /// kFrameTooLarge: GL would leave its storage out and the frame would read back black.
    void prepare(long width, long height, bool multisampled);
    /// The limits of the current context, read at its first use here.
    const GLContextLimits& limits();
    /// Deletes this context's frame-buffer objects, the final renderbuffer, the stack and the
    /// frame's kept storage.
    void unprepare();
    /// Deletes the renderbuffers of the stack and empties it.
    void clearStack();
    /// Deletes what frames made, the final pass's buffer included, so that the next frame makes
    /// it all anew: after a failed frame any of it may lack its storage.
    void discardFrameObjects();
    /// The context whose frame-buffer objects the stack uses now: the last that prepared a frame.
    AEOpenGLContext::PlatformContext framebufferContext() const { return mFramebufferContext; }
    /// Takes everything down at global set-down; the instance is as constructed afterwards.
    void destory();

    /// Opens the bottom level of a frame, with blending off and the viewport set for the frame.
    void beginDrawing();
    /// Closes the bottom level through the final pass into the final renderbuffer, which stays
    /// bound. Does nothing on an empty stack.
    void endDrawing(float multiplier);

    /// Opens a level. The first argument has no effect.
    void pushRenderContext(bool unused, bool withStencil);
    /// Closes the top level into a texture lent to the caller, who gives it back with
    /// `recycleTexture` when done; 0 on an empty stack.
    unsigned int popRenderContext();
    /// Takes back a texture that a pop lent, to lend it again. A texture the stack did not lend is
    /// deleted, as the caller's own delete would have done; 0 is ignored.
    void recycleTexture(unsigned int texture);

    /// The frame's input texture: `GL_RGBA32F`, the frame's size, linear filters, edges clamped.
    /// Made at its first use and kept while the size stays; what it holds is the last upload's.
    unsigned int frameInputTexture();

    /// Renders into `texture` through a temporary frame-buffer object, outside the stack.
    void pushNormalRenderContext(unsigned int texture);
    /// As above, into mip `level` of `texture`, and sets the viewport to `size`.
    void pushNormalRenderContext(unsigned int texture, const Vec2& size, int level);
    /// Closes the temporary frame-buffer object and returns to the stack's top level.
    void popNormalRenderContext();

    /// A new texture of the frame's size, 8 bits a channel, edges clamped, for the caller to
    /// delete. Its content is undefined until drawn: storage is specified without a client buffer.
    unsigned int createRenderTexture(bool mipmapped);
    /// As above, of the given size (cut to whole pixels).
    unsigned int createRenderTexture(const Vec2& size, bool mipmapped);
    /// As above with 32-bit float channels.
    unsigned int createFloatRenderTexture(bool linear, bool mipmapped);
    /// As above, of the given size (cut to whole pixels).
    unsigned int createFloatRenderTexture(const Vec2& size, bool linear, bool mipmapped);

    std::uint16_t width() const { return static_cast<std::uint16_t>(mWidth); }
    std::uint16_t height() const { return static_cast<std::uint16_t>(mHeight); }

private:
    struct Framebuffers {
        unsigned int resolve = 0;
        unsigned int framebuffer = 0;
        unsigned int multisample = 0;
        GLContextLimits limits;
        bool limitsRead = false;
    };

    /// Renders into mip `level` of `texture` through a temporary frame-buffer object.
    void attachNormalTarget(unsigned int texture, int level);
    void useFramebuffersOfCurrentContext();
    void makeFramebuffers();
    unsigned int stackFramebuffer() const;
    void allocateLevel(unsigned int format) const;
    /// A level's renderbuffer of `format` from `pool`, or a new one; bound.
    unsigned int takeLevel(std::vector<unsigned int>& pool, unsigned int format) const;
    void releaseKeptStorage();

    unsigned int mResolveFramebuffer = 0;
    unsigned int mFramebuffer = 0;
    unsigned int mMultisampleFramebuffer = 0;
    unsigned int mMainRenderbuffer = 0;
    bool mMultisampled = true;
    std::uint32_t mWidth = 0;
    std::uint32_t mHeight = 0;
    std::vector<unsigned int> mRenderbufferStack;
    std::map<unsigned int, unsigned int> mStencilBuffers;
    std::unique_ptr<ScreenRender> mScreenRender;

    /// Kept storage of the frame's size, shared by every context of the share group: levels and
    /// stencil buffers off the stack, textures to lend, those lent out, and the input texture.
    std::vector<unsigned int> mFreeLevels;
    std::vector<unsigned int> mFreeStencilBuffers;
    std::vector<unsigned int> mFreeTextures;
    std::vector<unsigned int> mLentTextures;
    unsigned int mInputTexture = 0;

    /// Samples of a multisampled level: 8, or fewer where the context offers fewer.
    int mSamples = 0;
    /// The limits of the context below, and whether they have been read.
    GLContextLimits mLimits;
    bool mLimitsRead = false;
    // Whether GL objects were made since construction or the last `destory`.
    bool mHoldsGLObjects = false;
    /// The context that the three frame-buffer objects above belong to.
    AEOpenGLContext::PlatformContext mFramebufferContext = nullptr;
    /// The frame-buffer objects of the other contexts that have prepared frames.
    std::map<AEOpenGLContext::PlatformContext, Framebuffers> mOtherFramebuffers;
};

} // namespace Brindel::GaussianBlur
