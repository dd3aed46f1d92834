#include "support/RuntimeHeap.h"

#if defined(__MINGW32__)

// clang-format off
#include <windows.h>
#include <tlhelp32.h>  // needs the other one
// clang-format on

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

[[noreturn]] void Fail(const char* what) {
  std::fprintf(stderr, "RuntimeHeap: %s\n", what);
  std::abort();
}

// The slot through which `module` calls `function` of another one.
void** ImportSlot(char* module, const char* function) {
  const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(module);
  const auto* const nt = reinterpret_cast<const IMAGE_NT_HEADERS64*>(module + dos->e_lfanew);
  const IMAGE_DATA_DIRECTORY& imports =
      nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  const auto* from =
      reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(module + imports.VirtualAddress);
  for (; from->FirstThunk != 0; ++from) {
    const auto* name = reinterpret_cast<const ULONGLONG*>(module + from->OriginalFirstThunk);
    auto* slot = reinterpret_cast<void**>(module + from->FirstThunk);
    for (; *name != 0; ++name, ++slot) {
      if (IMAGE_SNAP_BY_ORDINAL64(*name)) continue;
      const auto* const import = reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(module + *name);
      if (std::strcmp(reinterpret_cast<const char*>(import->Name), function) == 0) return slot;
    }
  }
  Fail(function);
}

template <class Function>
void Redirect(char* module, const char* name, Function function) {
  void** const slot = ImportSlot(module, name);
  DWORD protection = 0;
  if (!VirtualProtect(slot, sizeof(void*), PAGE_READWRITE, &protection)) Fail("VirtualProtect");
  *slot = reinterpret_cast<void*>(function);
  VirtualProtect(slot, sizeof(void*), protection, &protection);
}

}  // namespace

void RedirectRuntimeHeap(const RuntimeHeap& heap) {
  char* const library = reinterpret_cast<char*>(GetModuleHandleA("libstdc++-6.dll"));
  if (library == nullptr) Fail("the run-time library is not a DLL");
  Redirect(library, "malloc", heap.take);
  Redirect(library, "free", heap.give_back);
  Redirect(library, "_aligned_malloc", heap.take_aligned);
  Redirect(library, "_aligned_free", heap.give_back_aligned);
}

int ThreadsOfThisProcess() {
  const HANDLE all = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  if (all == INVALID_HANDLE_VALUE) Fail("CreateToolhelp32Snapshot");
  const DWORD process = GetCurrentProcessId();
  int count = 0;
  THREADENTRY32 entry = {};
  entry.dwSize = sizeof entry;
  for (BOOL more = Thread32First(all, &entry); more; more = Thread32Next(all, &entry)) {
    if (entry.th32OwnerProcessID == process) ++count;
  }
  CloseHandle(all);
  return count;
}

void WaitForOtherThreads(int left) {
  const ULONGLONG end = GetTickCount64() + 1000;
  while (ThreadsOfThisProcess() > left && GetTickCount64() < end) Sleep(1);
}

#endif
