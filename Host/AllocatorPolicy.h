#pragma once

namespace Brindel::Host {

// Every frame, the GL driver allocates and frees buffers of the frame's size, aligned, and
// from the worker threads' arenas. glibc raises its mmap threshold as such buffers are freed,
// after which they come from the heap, where aligned blocks are not reused: memory grows with
// every frame and every thread. A fixed threshold keeps large buffers in mmap, given back when
// freed. Only a program that owns its process may decide this: aehost and the soak do; a
// plug-in, or the frei0r bridge inside another program, never does.
void UseFixedMmapThreshold();

} // namespace Brindel::Host
