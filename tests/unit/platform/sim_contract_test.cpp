// The simulated machine keeps the same contract as the real system.
#include "contract/files_contract.h"
#include "contract/pipes_contract.h"
#include "contract/process_contract.h"
#include "sim/machine.h"

namespace tavi::contract {
namespace {

class SimulatedWorld {
public:
    platform::Platform Parts() { return machine_.platform(); }
    std::u16string Folder() {
        machine_.volume().MakeDirectory(u"C:\\Contract");
        return u"C:\\Contract";
    }
    std::u16string LongFolder() {
        std::u16string path = Folder();
        for (int i = 0; i < 8; ++i) {
            path += u"\\" + std::u16string(50, static_cast<char16_t>(u'a' + i));
        }
        machine_.volume().MakeDirectory(path);
        return path;
    }
    platform::Handle OpenVolume() {
        return machine_.platform().files.CreateFileW(u"\\\\.\\C:", platform::kGenericRead | platform::kGenericWrite, 3,
                                                     platform::kOpenExisting, 0);
    }

private:
    sim::Machine machine_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Simulated, FilesContract, SimulatedWorld);
INSTANTIATE_TYPED_TEST_SUITE_P(Simulated, PipesContract, SimulatedWorld);
INSTANTIATE_TYPED_TEST_SUITE_P(Simulated, ProcessContract, SimulatedWorld);

}  // namespace
}  // namespace tavi::contract
