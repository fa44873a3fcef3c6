#include "listen/listen_cycle.h"

namespace tavi::listen {
namespace {

class FileChangeCycle final : public ListenCycle {
public:
    FileChangeCycle(platform::Platform& platform, db::SqLite3Operator& database,
                    const records::FileChangeRecord::Task& task, const std::atomic<bool>& abandonBatch)
        : record_(platform, database, task, abandonBatch, records::FileChangeRecord::CurrentService::kPresent) {}

    bool Init() override { return record_.Init() == 1; }
    bool RunOnce() override { return record_.GetAndHandleUSNRecord() == 1; }
    bool positionLost() const override { return record_.journal().positionLost(); }

private:
    records::FileChangeRecord record_;
};

}  // namespace

ListenCycleFactory MakeListenCycleFactory(platform::Platform& platform, db::SqLite3Operator& database,
                                          const std::atomic<bool>& abandonBatch) {
    return [&platform, &database, &abandonBatch](const records::FileChangeRecord::Task& task) {
        return std::make_unique<FileChangeCycle>(platform, database, task, abandonBatch);
    };
}

}  // namespace tavi::listen
