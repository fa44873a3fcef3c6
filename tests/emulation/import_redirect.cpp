#include "import_redirect.h"

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tavi::emulation {
namespace {

template <typename T>
T* At(std::byte* base, std::size_t offset) {
    return reinterpret_cast<T*>(base + offset);
}

// The address slot of the import, or null.
ULONGLONG* FindSlot(std::byte* image, const IMAGE_IMPORT_DESCRIPTOR& library, const char* function) {
    auto* name = At<IMAGE_THUNK_DATA64>(image, library.OriginalFirstThunk);
    auto* address = At<IMAGE_THUNK_DATA64>(image, library.FirstThunk);
    for (; name->u1.AddressOfData != 0; ++name, ++address) {
        if ((name->u1.Ordinal & IMAGE_ORDINAL_FLAG64) != 0) {
            continue;
        }
        const auto* entry = At<IMAGE_IMPORT_BY_NAME>(image, name->u1.AddressOfData);
        if (std::strcmp(reinterpret_cast<const char*>(entry->Name), function) == 0) {
            return &address->u1.Function;
        }
    }
    return nullptr;
}

ULONGLONG* FindSlot(const char* function) {
    auto* image = reinterpret_cast<std::byte*>(GetModuleHandleW(nullptr));
    const auto* dos = At<IMAGE_DOS_HEADER>(image, 0);
    const auto* headers = At<IMAGE_NT_HEADERS64>(image, static_cast<std::size_t>(dos->e_lfanew));
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (auto* library = At<IMAGE_IMPORT_DESCRIPTOR>(image, directory.VirtualAddress); library->Name != 0; ++library) {
        if (ULONGLONG* slot = FindSlot(image, *library, function)) {
            return slot;
        }
    }
    return nullptr;
}

}  // namespace

void* RedirectImport(const char* function, void* replacement) {
    ULONGLONG* slot = FindSlot(function);
    DWORD protection = 0;
    if (slot == nullptr || !VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &protection)) {
        return nullptr;
    }
    void* previous = reinterpret_cast<void*>(static_cast<std::uintptr_t>(*slot));
    *slot = reinterpret_cast<std::uintptr_t>(replacement);
    VirtualProtect(slot, sizeof *slot, protection, &protection);
    return previous;
}

}  // namespace tavi::emulation
