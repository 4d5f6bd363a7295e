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

namespace {

using ContextManager = Brindel::Testing::GLTest;

TEST_F(ContextManager, EachThreadGetsItsOwnRenderContextInTheDataContextsShareGroup) {
    expectHostContextAfterTest();
    SaveRestoreGLContext host;
    AEOpenGLContextManager::setupContextManager();
    AEOpenGLContext* const data = AEOpenGLContextManager::getSharedDataContext();
    ASSERT_NE(nullptr, data);
    GLuint texture = makeTexture(1, 1, {1, 2, 3, 4});
    glFlush();
    // Threads asking at once each get a context of their own, the same one when they ask again.
    std::vector<AEOpenGLContext*> contexts(4, nullptr);
    std::vector<std::thread> threads;
    for (auto& context : contexts) {
        threads.emplace_back([&context, texture] {
            context = AEOpenGLContextManager::getCurrentRenderContext();
            EXPECT_EQ(context, AEOpenGLContextManager::getCurrentRenderContext());
            context->makeContextCurrent();
            EXPECT_EQ((std::vector<std::uint8_t>{1, 2, 3, 4}), readTexture(texture, 1, 1));
            Brindel::Host::HostGLContext::releaseCurrent();
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    const std::set<AEOpenGLContext*> distinct(contexts.begin(), contexts.end());
    EXPECT_EQ(4u, distinct.size());
    EXPECT_EQ(0u, distinct.count(nullptr) + distinct.count(data));
    data->makeContextCurrent();
    glDeleteTextures(1, &texture);
    EXPECT_NO_GL_ERROR();
    AEOpenGLContextManager::releaseContextManager();
    EXPECT_EQ(nullptr, AEOpenGLContextManager::getSharedDataContext());
    AEOpenGLContextManager::releaseContextManager(); // nothing is left to delete a second time
    host.restore();
}

} // namespace
