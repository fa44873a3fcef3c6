// The real outside world: owns the implementation of every role on Windows and hands them out as one Platform. Created
// once, by the composition root, and kept until everything that it was handed to is gone. The parts hold no state but
// what the system itself keeps per process, so any thread may use any of them.
#pragma once

#include "platform/native_digest.h"
#include "platform/native_sqlite.h"
#include "platform/platform.h"
#include "platform/windows/windows_clock.h"
#include "platform/windows/windows_cloud_files.h"
#include "platform/windows/windows_code_page.h"
#include "platform/windows/windows_errors.h"
#include "platform/windows/windows_files.h"
#include "platform/windows/windows_heap.h"
#include "platform/windows/windows_modules.h"
#include "platform/windows/windows_native_calls.h"
#include "platform/windows/windows_paths.h"
#include "platform/windows/windows_pipes.h"
#include "platform/windows/windows_services.h"
#include "platform/windows/windows_threads.h"
#include "platform/windows/windows_trust.h"
#include "platform/windows/windows_volumes.h"

namespace tavi::platform {

class WindowsPlatform {
public:
    Platform Parts() {
        return {.errors = errors_,
                .services = services_,
                .modules = modules_,
                .files = files_,
                .paths = paths_,
                .volumes = volumes_,
                .nativeCalls = nativeCalls_,
                .cloudFiles = cloudFiles_,
                .codePage = codePage_,
                .pipes = pipes_,
                .threads = threads_,
                .clock = clock_,
                .heap = heap_,
                .trust = trust_,
                .sqlite = sqlite_,
                .digest = digest_};
    }

private:
    WindowsErrors errors_;
    WindowsServices services_;
    WindowsModules modules_;
    WindowsFiles files_;
    WindowsPaths paths_;
    WindowsVolumes volumes_;
    WindowsNativeCalls nativeCalls_;
    WindowsCloudFiles cloudFiles_;
    WindowsCodePage codePage_;
    WindowsPipes pipes_;
    WindowsThreads threads_;
    WindowsClock clock_;
    WindowsHeap heap_;
    WindowsTrust trust_;
    NativeSqlite sqlite_;
    NativeDigest digest_;
};

}  // namespace tavi::platform
