// Redirects functions that the running executable imports, by writing to its import address table. Windows only. The
// table's layout is that of the PE format (Microsoft's documentation of IMAGE_IMPORT_DESCRIPTOR and IMAGE_THUNK_DATA).
#pragma once

namespace tavi::emulation {

// Makes the executable's import `function` (of whatever library) call `replacement`. Returns the address that it called
// before, or null when the executable does not import the function by name.
void* RedirectImport(const char* function, void* replacement);

}  // namespace tavi::emulation
