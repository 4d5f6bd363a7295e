#include "AEOpenGLContextManager.h"
#include "GLTest.h"
#include "SaveRestoreGLContext.h"

#include <glbinding/gl/gl.h>

#include <set>
#include <thread>
#include <vector>

using namespace gl;
using Brindel::GaussianBlur::AEOpenGLContext;
using Brindel::GaussianBlur::AEOpenGLContextManager;
using Brindel::GaussianBlur::SaveRestoreGLContext;
using Brindel::Testing::GLTest;

namespace {

using ContextManager = GLTest;

TEST_F(ContextManager, EachThreadGetsItsOwnRenderContextInTheDataContextsShareGroup) {
    expectHostContextAfterTest();
    SaveRestoreGLContext host;
    AEOpenGLContextManager::setupContextManager();
    AEOpenGLContext* const data = AEOpenGLContextManager::getSharedDataContext();
    ASSERT_NE(nullptr, data);
    const std::vector<std::uint8_t> pixels = {1, 2, 3, 4};
    GLuint texture = makeTexture(1, 1, pixels);
    glFlush();

    AEOpenGLContext* first = nullptr;
    AEOpenGLContext* again = nullptr;
    std::vector<std::uint8_t> seen;
    runOnNewThread([&] {
        first = AEOpenGLContextManager::getCurrentRenderContext();
        again = AEOpenGLContextManager::getCurrentRenderContext();
        again->makeContextCurrent();
        seen = readTexture(texture, 1, 1);
        EXPECT_NO_GL_ERROR();
    });
    EXPECT_NE(nullptr, first);
    EXPECT_EQ(first, again) << "one thread asking twice gets the same context";
    EXPECT_NE(data, first);
    EXPECT_EQ(pixels, seen) << "a render context shares the data context's textures";

    // Threads asking at once each get a context of their own.
    std::vector<AEOpenGLContext*> contexts(4, nullptr);
    std::vector<std::thread> threads;
    for (auto& context : contexts) {
        threads.emplace_back([&context] {
            context = AEOpenGLContextManager::getCurrentRenderContext();
            Brindel::Host::HostGLContext::releaseCurrent();
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    const std::set<AEOpenGLContext*> distinct(contexts.begin(), contexts.end());
    EXPECT_EQ(4u, distinct.size());
    EXPECT_EQ(0u, distinct.count(nullptr));
    EXPECT_EQ(0u, distinct.count(first));

    data->makeContextCurrent();
    glDeleteTextures(1, &texture);
    EXPECT_NO_GL_ERROR();
    AEOpenGLContextManager::releaseContextManager();
    EXPECT_EQ(nullptr, AEOpenGLContextManager::getSharedDataContext());
    // Nothing is left to delete a second time.
    AEOpenGLContextManager::releaseContextManager();
    host.restore();
}

TEST_F(ContextManager, ThreadThatRenderedBeforeAReleaseGetsANewContextAfterTheNextSetup) {
    expectHostContextAfterTest();
    SaveRestoreGLContext host;
    runOnNewThread([] {
        AEOpenGLContextManager::setupContextManager();
        ASSERT_NE(nullptr, AEOpenGLContextManager::getCurrentRenderContext());
        AEOpenGLContextManager::releaseContextManager();

        AEOpenGLContextManager::setupContextManager();
        AEOpenGLContext* const renewed = AEOpenGLContextManager::getCurrentRenderContext();
        ASSERT_NE(nullptr, renewed);
        renewed->makeContextCurrent();
        EXPECT_NO_GL_ERROR();
        AEOpenGLContextManager::releaseContextManager();
    });
    host.restore();
}

} // namespace
