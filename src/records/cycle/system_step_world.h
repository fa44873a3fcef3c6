// What the steps may ask about the world outside their lists, answered by the system. The cloud-files library is looked
// up when it is first needed, so that the service also runs where there is none: there, nothing is a placeholder.
// Listen thread only; owned by the task's FileChangeRecord.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "records/steps/step_world.h"

namespace tavi::records {

class SystemStepWorld : public StepWorld {
public:
    // Both outlive this object.
    SystemStepWorld(platform::Platform& platform, const std::u16string& listenPath)
        : platform_(platform), listenPath_(listenPath) {}
    ~SystemStepWorld() override;  // frees the cloud-files library
    SystemStepWorld(const SystemStepWorld&) = delete;
    SystemStepWorld& operator=(const SystemStepWorld&) = delete;

    const std::u16string& ListenPath() const override { return listenPath_; }
    bool IsPlaceholder(const std::u16string& relativePath) override;
    std::vector<std::u16string> ListAllEntries(const std::u16string& fullDirectoryPath) override;
    std::uint64_t GetFrnByPath(const std::u16string& fullPath) override;
    std::uint32_t AttributesOrAllOnes(const std::u16string& fullPath) override;

private:
    bool LookUpPlaceholderQuery();
    bool AskForPlaceholder(platform::Handle file);

    platform::Platform& platform_;
    const std::u16string& listenPath_;
    platform::ModuleHandle cloudFiles_ = platform::kNoModule;
    platform::ProcAddress cfGetPlaceholderInfo_ = platform::kNoProcAddress;
};

}  // namespace tavi::records
