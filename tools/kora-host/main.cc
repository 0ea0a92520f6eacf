// kora-host: a small KORA host that loads a plug-in and runs a script of
// host actions against it, printing what the host sees.
//
//   kora-host [--work FOLDER] PLUGIN SCRIPT
//
// Relative paths in the script live in the work folder (default: the current
// folder), which output shows as $WORK. Exit status: 0 when the script ran
// and the plug-in kept the host's contract, 1 when the plug-in could not be
// loaded, 2 for a script error, 3 when a contract violation was seen.
#include <dlfcn.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "host_world.h"
#include "interpreter.h"

namespace {

int Usage() {
  std::fprintf(stderr, "usage: kora-host [--work FOLDER] PLUGIN SCRIPT\n");
  return 2;
}

// Loads the plug-in and calls its entry point with the host's resolver.
bool LoadPlugin(const std::string& path) {
  using kora_host::HostWorld;
  void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!library) {
    std::fprintf(stderr, "kora-host: can't load %s: %s\n", path.c_str(), dlerror());
    return false;
  }
  auto entry = reinterpret_cast<KORAPluginEntryProc>(dlsym(library, KORA_PLUGIN_ENTRY_NAME));
  if (!entry) {
    std::fprintf(stderr, "kora-host: %s exports no %s\n", path.c_str(), KORA_PLUGIN_ENTRY_NAME);
    return false;
  }
  HostWorld& world = HostWorld::Get();
  world.sessionDepth = reinterpret_cast<HostWorld::DepthProc>(dlsym(library, "ParvexSessionDepth"));
  world.insidePlugin = true;
  const KORABoolean loaded = entry(kora_host::ResolveService);
  world.insidePlugin = false;
  world.CheckBalanced(KORA_PLUGIN_ENTRY_NAME);
  if (!loaded) {
    std::fprintf(stderr, "kora-host: %s refused to load\n", path.c_str());
    return false;
  }
  // The library stays loaded until the process ends, as in the real host.
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  std::string work = std::filesystem::current_path().string();
  int arg = 1;
  if (arg + 1 < argc && std::strcmp(argv[arg], "--work") == 0) {
    std::error_code error;
    std::filesystem::create_directories(argv[arg + 1], error);
    work = std::filesystem::absolute(argv[arg + 1]).lexically_normal().string();
    while (work.size() > 1 && work.back() == '/') work.pop_back();
    arg += 2;
  }
  if (argc - arg != 2) return Usage();
  const std::string pluginPath = argv[arg];
  const std::string scriptPath = argv[arg + 1];

  std::ifstream script(scriptPath);
  if (!script) {
    std::fprintf(stderr, "kora-host: can't read %s\n", scriptPath.c_str());
    return 2;
  }
  kora_host::HostWorld::Get().SetWorkFolder(work);
  if (!LoadPlugin(pluginPath)) return 1;

  kora_host::Interpreter interpreter;
  std::string line;
  int lineNumber = 0;
  int status = 0;
  while (std::getline(script, line)) {
    ++lineNumber;
    if (!interpreter.RunLine(line)) {
      std::fflush(stdout);
      std::fprintf(stderr, "kora-host: %s:%d: %s\n", scriptPath.c_str(), lineNumber,
                   interpreter.error().c_str());
      status = 2;
      break;
    }
  }
  interpreter.Finish();
  std::fflush(stdout);
  if (status == 0 && kora_host::HostWorld::Get().violations > 0) status = 3;
  return status;
}
