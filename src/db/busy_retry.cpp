#include "db/busy_retry.h"

#include <cstdint>

#include "imports/exception_edge.h"
#include "imports/random_wait.h"

namespace tavi::db {

int BusyRetryHandler(void* context, int count) {
    const bool waited = Drive::EndExceptions([context] {
        platform::Platform& platform = *static_cast<platform::Platform*>(context);
        const std::uint64_t wait = Drive::GetRandWaitTime(platform.clock);
        if (wait > 0) {
            platform.threads.Sleep(static_cast<std::uint32_t>(wait));
        }
    });
    return waited && count < kBusyRetryLimit ? 1 : 0;
}

}  // namespace tavi::db
