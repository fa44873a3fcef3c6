// The real system keeps the contract that the simulated machine keeps.
#include "contract/files_contract.h"
#include "contract/pipes_contract.h"
#include "contract/process_contract.h"
#include "windows/platform/windows_world.h"

namespace tavi::contract {

INSTANTIATE_TYPED_TEST_SUITE_P(Windows, FilesContract, WindowsWorld);
INSTANTIATE_TYPED_TEST_SUITE_P(Windows, PipesContract, WindowsWorld);
INSTANTIATE_TYPED_TEST_SUITE_P(Windows, ProcessContract, WindowsWorld);

}  // namespace tavi::contract
