#include <EGL/egl.h>

#include "AEOpenGLContext.h"
#include "GLCallRecorder.h"
#include "GLTest.h"
#include "SaveRestoreGLContext.h"

using Brindel::GaussianBlur::AEOpenGLContext;
using Brindel::GaussianBlur::SaveRestoreGLContext;
using Brindel::Testing::GLCallRecorder;

namespace {

using SaveRestore = Brindel::Testing::GLTest;

TEST_F(SaveRestore, RestoresTheHostContextOnceAfterAFlushAndNoneOnAThreadWithout) {
    expectHostContextAfterTest();
    SaveRestoreGLContext saved;
    AEOpenGLContext own(nullptr);
    {
        GLCallRecorder recorder;
        saved.restore();
        EXPECT_TRUE(hostContext().isCurrent());
        EXPECT_EQ(1u, recorder.count("glFlush"));
    }
    own.makeContextCurrent();
    {
        GLCallRecorder recorder;
        saved.restore();
        EXPECT_EQ(own.platformContext(), AEOpenGLContext::currentPlatformContext())
            << "a second restore does nothing";
        EXPECT_TRUE(recorder.calls().empty());
    }
    hostContext().makeCurrent();
    {
        SaveRestoreGLContext saved;
        GLCallRecorder recorder;
        saved.restore();
        EXPECT_TRUE(saved.restored());
        EXPECT_TRUE(recorder.calls().empty()) << "no flush and no query when nothing changed";
        EXPECT_TRUE(hostContext().isCurrent());
    }
    runOnNewThread([] {
        SaveRestoreGLContext saved;
        AEOpenGLContext own(nullptr);
        saved.restore();
        EXPECT_EQ(AEOpenGLContext::currentPlatformContext(), nullptr)
            << "with no host context recorded, none of the effect's stays current";
        EXPECT_EQ(eglGetError(), EGL_SUCCESS);

        // Nor is one of the effect's own contexts, left current, taken for the host's.
        own.makeContextCurrent();
        SaveRestoreGLContext again;
        AEOpenGLContext other(&own);
        again.restore();
        EXPECT_EQ(AEOpenGLContext::currentPlatformContext(), nullptr);
    });
}

} // namespace
