#include "AllocatorPolicy.h"

#include <malloc.h>

namespace Brindel::Host {

void UseFixedMmapThreshold() {
    mallopt(M_MMAP_THRESHOLD, 128 * 1024);
}

} // namespace Brindel::Host
