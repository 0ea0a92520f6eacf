// Resolution of the host's services by name, and host text conversions.
#include "host/host_services.h"

#include <cassert>

namespace parvex::kora {

static_assert(kEncodingDefault == KORA_ENCODING_DEFAULT, "host and engine encodings differ");
static_assert(kEncodingUTF8 == KORA_ENCODING_UTF8, "host and engine encodings differ");
static_assert(kEncodingUTF16 == KORA_ENCODING_UTF16, "host and engine encodings differ");

namespace {

HostServices gServices;
bool gResolved = false;

// Keeps the last returned text alive (the host reads it before calling again).
string gReturnedText;

template <typename Proc>
bool Resolve(KORAResolver resolve, const char* name, Proc* slot, const char** missing) {
  *slot = reinterpret_cast<Proc>(resolve(name));
  if (*slot) return true;
  if (missing) *missing = name;
  return false;
}

}  // namespace

bool ResolveHostServices(KORAResolver resolve, const char** missing) {
  gResolved = false;
  if (!resolve) {
    if (missing) *missing = "resolver";
    return false;
  }
  HostServices s;
  const bool ok = Resolve(resolve, "KORARegisterClass", &s.registerClass, missing) &&
                  Resolve(resolve, "KORARegisterDBEngine", &s.registerDBEngine, missing) &&
                  Resolve(resolve, "KORARegisterDBCursor", &s.registerDBCursor, missing) &&
                  Resolve(resolve, "KORARegisterDataSource", &s.registerDataSource, missing) &&
                  Resolve(resolve, "KORAGetClassData", &s.getClassData, missing) &&
                  Resolve(resolve, "KORAConstructDBDatabase", &s.constructDBDatabase, missing) &&
                  Resolve(resolve, "KORAGetDBFromKORAdbDatabase", &s.getDBFromKORAdbDatabase,
                          missing) &&
                  Resolve(resolve, "KORASetDBIsConnected", &s.setDBIsConnected, missing) &&
                  Resolve(resolve, "KORAGetPropValue", &s.getPropValue, missing) &&
                  Resolve(resolve, "KORASetPropValue", &s.setPropValue, missing) &&
                  Resolve(resolve, "KORAReleaseObject", &s.releaseObject, missing) &&
                  Resolve(resolve, "KORAFolderItemPath", &s.folderItemPath, missing) &&
                  Resolve(resolve, "KORALoadGlobalMethod", &s.loadGlobalMethod, missing) &&
                  Resolve(resolve, "KORAReportDBError", &s.reportDBError, missing) &&
                  Resolve(resolve, "KORANewDBCursor", &s.newDBCursor, missing);
  if (!ok) return false;
  gServices = s;
  gResolved = true;
  return true;
}

const HostServices& Host() {
  assert(gResolved);
  return gServices;
}

string FromHostText(const KORAText& text) {
  if (!text.bytes || text.length <= 0) return string(std::string_view(), text.encoding);
  return string(text.bytes, static_cast<size_t>(text.length), text.encoding);
}

KORAText HostTextView(std::string_view bytes, uint32_t encoding) {
  KORAText text;
  text.bytes = bytes.data();
  text.length = static_cast<int32_t>(bytes.size());
  text.encoding = encoding;
  return text;
}

KORAText HostTextOf(const string& text) { return HostTextView(text.view(), text.Encoding()); }

KORAText ReturnText(const string& text) {
  gReturnedText = text;
  return HostTextOf(gReturnedText);
}

void ReportDBError(KORAObject db, const char* sqlState, const string& message) {
  if (!gResolved || !db) return;
  gServices.reportDBError(db, sqlState, HostTextOf(message));
}

void ReleaseObject(KORAObject object) {
  if (object && gResolved) gServices.releaseObject(object);
}

}  // namespace parvex::kora
