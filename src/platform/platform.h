// The one object that stands for the outside world: every system and library call that the product makes, grouped by
// role. Created by the composition root (the real one) or by a test (the simulated one), and handed down by reference;
// it outlives everything that it was handed to. Holds no decisions.
#pragma once

#include "platform/clock.h"
#include "platform/cloud_files.h"
#include "platform/code_page.h"
#include "platform/constants.h"
#include "platform/digest.h"
#include "platform/files.h"
#include "platform/heap.h"
#include "platform/modules.h"
#include "platform/native_calls.h"
#include "platform/paths.h"
#include "platform/pipes.h"
#include "platform/services.h"
#include "platform/sqlite.h"
#include "platform/system_errors.h"
#include "platform/threads.h"
#include "platform/trust.h"
#include "platform/types.h"
#include "platform/volumes.h"

namespace tavi::platform {

struct Platform {
    SystemErrors& errors;
    Services& services;
    Modules& modules;
    Files& files;
    Paths& paths;
    Volumes& volumes;
    NativeCalls& nativeCalls;
    CloudFiles& cloudFiles;
    CodePage& codePage;
    Pipes& pipes;
    Threads& threads;
    Clock& clock;
    Heap& heap;
    Trust& trust;
    Sqlite& sqlite;
    Digest& digest;
};

}  // namespace tavi::platform
