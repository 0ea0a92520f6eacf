// Default (read-only) behaviour of the table interface.
#include "core/table.h"

namespace parvex {

void DeleteValues(ParvexValueList& values) { DeleteAll(values); }

RowID ParvexTable::AddRow(ParvexValueList& values, bool takeOwnership) {
  if (takeOwnership) DeleteValues(values);
  return kInvalidRowID;
}

void ParvexTable::UpdateRow(RowID, ParvexValueList& values, bool takeOwnership) {
  if (takeOwnership) DeleteValues(values);
}

bool ParvexTable::AddIndex(const string&, const SimpleVector<uint32_t>&) { return false; }

void ParvexTable::GetIndexNames(SimpleVector<string>*) const {}

}  // namespace parvex
