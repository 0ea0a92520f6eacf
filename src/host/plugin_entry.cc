// The plug-in's exported entry point: finds the host services by name and
// registers the KORADatabase class, its engine, its cursor type and the two
// design-time data sources. Besides the entry point the library exports only
// ParvexSessionDepth, through which a host can check that every call into
// the plug-in has returned.
#include <string>

#include "host/cursor.h"
#include "host/database_class.h"
#include "host/design_time.h"
#include "host/engine.h"
#include "host/host_services.h"
#include "host/session_sentry.h"
#include "kora/kora_plugin.h"

#define PARVEX_KORA_EXPORT extern "C" __attribute__((visibility("default")))

PARVEX_KORA_EXPORT KORABoolean KORAPluginEntry(KORAResolver resolve) {
  using namespace parvex::kora;
  SessionSentry sentry;
  const char* missing = nullptr;
  if (!ResolveHostServices(resolve, &missing)) {
    Trace(std::string("KORAPluginEntry: the host does not offer ") + (missing ? missing : "?"));
    return 0;
  }
  const HostServices& host = Host();
  if (!host.registerDBEngine(&EngineTable()) || !host.registerClass(&DatabaseClassDefinition()) ||
      !host.registerDBCursor(&CursorDefinition())) {
    Trace("KORAPluginEntry: the host refused a registration");
    return 0;
  }
  size_t count = 0;
  const KORADataSourceEntry* entries = DataSourceEntries(&count);
  for (size_t i = 0; i < count; ++i) {
    if (!host.registerDataSource(&entries[i])) {
      Trace("KORAPluginEntry: the host refused a data source");
      return 0;
    }
  }
  return 1;
}

PARVEX_KORA_EXPORT int ParvexSessionDepth(void) { return parvex::kora::SessionSentry::Depth(); }
