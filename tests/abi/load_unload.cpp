// Loads a client of the library at run time and unloads it again.
//
//   load_unload MODULE once      load, use, unload
//   load_unload MODULE again     ten times
//   load_unload MODULE threads   the same, each time on a thread of its own, while another
//                                thread that used the client still runs
//   load_unload MODULE stay      load, use, and let the end of the process unload it

#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace {

using RunClient = void (*)(void (*)());

int g_clients_gone = 0;
void CountGone() {
  ++g_clients_gone;
}

[[noreturn]] void Fail(const char* what) {
  std::fprintf(stderr, "load_unload: wrong: %s\n", what);
  std::fflush(stderr);
  std::_Exit(1);
}

#if defined(_WIN32)

using Module = HMODULE;
Module Load(const char* path) {
  return LoadLibraryA(path);
}
void Unload(Module module) {
  if (!FreeLibrary(module)) Fail("FreeLibrary");
}
bool LibraryIsLoaded() {
  return GetModuleHandleA("Tree.dll") != nullptr;
}
RunClient Find(Module module) {
  return reinterpret_cast<RunClient>(reinterpret_cast<void*>(GetProcAddress(module, "RunClient")));
}

#else

using Module = void*;
Module Load(const char* path) {
  void* const module = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) std::fprintf(stderr, "%s\n", dlerror());
  return module;
}
void Unload(Module module) {
  if (dlclose(module) != 0) Fail("dlclose");
}
bool LibraryIsLoaded() {
  void* const library = dlopen("libTree.so", RTLD_NOW | RTLD_NOLOAD);
  if (library != nullptr) dlclose(library);
  return library != nullptr;
}
RunClient Find(Module module) {
  return reinterpret_cast<RunClient>(dlsym(module, "RunClient"));
}

#endif

struct Client {
  explicit Client(const char* path) : module(Load(path)) {
    if (module == nullptr) Fail("the module cannot be loaded");
    run = Find(module);
    if (run == nullptr) Fail("the module has no RunClient");
    if (!LibraryIsLoaded()) Fail("the module has not loaded the library");
  }

  Module module;
  RunClient run = nullptr;
};

void LoadUseUnload(const char* path) {
  const Client client(path);
  client.run(CountGone);
  Unload(client.module);
}

// A thread that has used the client and is still there when it is unloaded.  It ends behind
// that, with something of the pools still in its cache.
void UnloadUnderAThread(const char* path) {
  std::mutex mutex;
  std::condition_variable changed;
  bool has_run = false;
  bool may_end = false;

  const Client client(path);
  std::thread user([&] {
    client.run(nullptr);
    std::unique_lock<std::mutex> lock(mutex);
    has_run = true;
    changed.notify_all();
    changed.wait(lock, [&] { return may_end; });
  });
  {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [&] { return has_run; });
  }
  client.run(CountGone);
  Unload(client.module);
  {
    const std::lock_guard<std::mutex> lock(mutex);
    may_end = true;
  }
  changed.notify_all();
  user.join();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) Fail("two arguments are needed");
  const char* const path = argv[1];
  const char* const way = argv[2];
  int clients = 0;
  if (std::strcmp(way, "once") == 0) {
    LoadUseUnload(path);
    clients = 1;
  } else if (std::strcmp(way, "again") == 0) {
    for (; clients < 10; ++clients) LoadUseUnload(path);
  } else if (std::strcmp(way, "threads") == 0) {
    for (; clients < 10; ++clients) {
      std::thread(UnloadUnderAThread, path).join();
      // On Linux a thread that has something of the pools keeps the library till it ends.
      if (LibraryIsLoaded()) Fail("the library is still loaded");
    }
  } else if (std::strcmp(way, "stay") == 0) {
    const Client client(path);
    client.run([] {
      // Behind main(), when this program has already said that all is well.
      std::puts("load_unload: the client has gone, too");
      std::fflush(stdout);
    });
  } else {
    Fail("no such way");
  }
  if (g_clients_gone != clients) Fail("static objects of the client are still there");
  std::printf("load_unload: ended cleanly, %d clients have come and gone\n", g_clients_gone);
  return 0;
}
