// The real outside world: owns the implementation of every role on Windows and hands them out as one Platform. Created
// once, by the composition root, and kept until everything that it was handed to is gone. The parts hold no state but
// what the system itself keeps per process, so any thread may use any of them.
#pragma once

#include "platform/native_digest.h"
#include "platform/native_sqlite.h"
#include "platform/platform.h"
#include "platform/windows/windows_clock.h"
#include "platform/windows/windows_errors.h"
#include "platform/windows/windows_files.h"
#include "platform/windows/windows_heap.h"
#include "platform/windows/windows_modules.h"
#include "platform/windows/windows_pipes.h"
#include "platform/windows/windows_services.h"
#include "platform/windows/windows_threads.h"
#include "platform/windows/windows_trust.h"

namespace tavi::platform {

class WindowsPlatform {
public:
    Platform Parts() {
        return {errors_, services_, modules_, files_, pipes_, threads_, clock_, heap_, trust_, sqlite_, digest_};
    }

private:
    WindowsErrors errors_;
    WindowsServices services_;
    WindowsModules modules_;
    WindowsFiles files_;
    WindowsPipes pipes_;
    WindowsThreads threads_;
    WindowsClock clock_;
    WindowsHeap heap_;
    WindowsTrust trust_;
    NativeSqlite sqlite_;
    NativeDigest digest_;
};

}  // namespace tavi::platform
