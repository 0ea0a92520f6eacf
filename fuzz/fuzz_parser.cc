// Fuzz target for the SQL parser: any byte string is parsed as one statement,
// without an escape byte and with the first byte as escape byte; every tree
// that comes back (partial ones included) is printed and the printed text is
// parsed once more. The select items of a SELECT are converted into
// expression trees with no source tables, and the complete ones evaluated.
// Nothing may crash, hang, leak or read out of bounds.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "sql/parser.h"

namespace {

void ConvertAndEvaluate(const parvex::SQLSelectNode& select) {
  const parvex::SimpleVector<parvex::string> noNames;
  const parvex::SimpleVector<parvex::ParvexTable*> noTables;
  parvex::SimpleVector<parvex::ParvexExprPtr> exprs;
  parvex::SimpleVector<parvex::string> columnNames;
  parvex::SimpleVector<long> columnIDs;
  parvex::ParvexStatus status;
  for (const auto& item : select.items) {
    if (item) item->ConvertToExprList(noNames, noTables, exprs, &status, &columnNames, &columnIDs);
  }
  for (const auto& expr : exprs) {
    parvex::ParvexValue value;
    if (expr->Valid()) expr->EvaluateInIsolation(&value, nullptr);
  }
}

void ParseAndPrint(std::string_view text, char escape) {
  parvex::ParvexSQLParser parser;
  parser.SetEscape(escape);
  auto root = parser.Evaluate(parvex::string(text));
  if (!root) return;
  const parvex::string printed = root->Description();
  if (root->IsSelect()) ConvertAndEvaluate(static_cast<const parvex::SQLSelectNode&>(*root));
  // The canonical text is itself input for the parser.
  parvex::ParvexSQLParser again;
  again.SetEscape(escape);
  auto reparsed = again.Evaluate(printed);
  if (reparsed) reparsed->Description();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  ParseAndPrint(text, 0);
  if (size > 0) ParseAndPrint(text, static_cast<char>(data[0]));
  return 0;
}
