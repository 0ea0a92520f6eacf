// ParvexSchema: creating the initial schema and loading tables from its rows.
#include "db/schema.h"

#include <string>
#include <unordered_map>
#include <unordered_set>

#include "storage/file_access.h"

namespace parvex {

const char* const kSchemaTableName = "_schema";

namespace {

struct SchemaColumn {
  long id;
  const char* name;
  ParvexDataType type;
};

// The seven columns of `_schema`, in column-ID order.
const SchemaColumn kSchemaColumns[] = {
    {kSchemaColTableName, "TableName", kTypeString},   {kSchemaColColumnID, "ColumnID", kTypeInteger},
    {kSchemaColColumnName, "ColumnName", kTypeString}, {kSchemaColTypeCode, "TypeCode", kTypeInteger},
    {kSchemaColLength, "Length", kTypeInteger},        {kSchemaColNotNull, "NotNull", kTypeInteger},
    {kSchemaColDefaultValue, "DefaultValue", kTypeString},
};

// The default value of a column from its stored text: converted to the
// column's type as a stored value would be; an empty (or NULL) text means
// no default.
ParvexValue DefaultFromText(const ParvexValue& stored, ParvexDataType type) {
  ParvexValue value = ParvexValue::Null(type);
  if (!stored.IsNull() && !stored.GetSaveString().empty()) {
    value = ParvexValue::String(stored.GetSaveString());
    CoerceToColumnType(&value, type);
  }
  return value;
}

// Lower-cased ASCII, the key under which names match case-insensitively.
std::string FoldName(const string& text) {
  std::string key(text.view());
  for (char& c : key) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return key;
}

}  // namespace

ParvexSchema::ParvexSchema(ParvexFileAccess* fileAccess) : ParvexTrans(fileAccess, string(kSchemaTableName)) {
  for (const SchemaColumn& column : kSchemaColumns) {
    AddColumn(ParvexColumnInfo(string(column.name), column.type, 0, column.id));
  }
  // A read-only file without schema rows is read as it is; a damaged schema
  // storage is never taken for an empty one.
  if (Valid() && !IsDamaged() && QtyRows() == 0 && !FileAccess()->ReadOnly()) PopulateInitialSchema();
}

ParvexSchema::~ParvexSchema() = default;

RowID ParvexSchema::AddSchemaRow(const string& tableName, long columnID, const string& columnName,
                                 long typeCode, long length, bool notNull, const string& defaultValue) {
  ParvexValueList slots;
  slots.push_back(new ParvexValueWithID(ParvexValue::String(tableName), kSchemaColTableName));
  slots.push_back(new ParvexValueWithID(ParvexValue::Integer(static_cast<int32_t>(columnID)), kSchemaColColumnID));
  slots.push_back(new ParvexValueWithID(ParvexValue::String(columnName), kSchemaColColumnName));
  slots.push_back(new ParvexValueWithID(ParvexValue::Integer(static_cast<int32_t>(typeCode)), kSchemaColTypeCode));
  slots.push_back(new ParvexValueWithID(ParvexValue::Integer(static_cast<int32_t>(length)), kSchemaColLength));
  slots.push_back(new ParvexValueWithID(ParvexValue::Integer(notNull ? 1 : 0), kSchemaColNotNull));
  slots.push_back(new ParvexValueWithID(ParvexValue::String(defaultValue), kSchemaColDefaultValue));
  return AddRow(slots, true);
}

void ParvexSchema::PopulateInitialSchema() {
  for (const SchemaColumn& column : kSchemaColumns) {
    AddSchemaRow(string(kSchemaTableName), column.id, string(column.name), column.type, 0, true, string());
  }
  Commit();
}

std::unique_ptr<ParvexTrans> ParvexSchema::BuildTable(const string& tableName, const SimpleVector<RowID>& rows) {
  if (rows.empty()) return nullptr;
  auto table = std::make_unique<ParvexTrans>(FileAccess(), tableName);
  // A table whose files are damaged stays, so that using it says so.
  if (!table->Valid() && !table->IsDamaged()) return nullptr;
  std::unordered_set<int32_t> ids;
  for (RowID row : rows) {
    ParvexValue id, columnName, typeCode, defaultText;
    GetValue(row, kSchemaColColumnID, &id);
    GetValue(row, kSchemaColColumnName, &columnName);
    GetValue(row, kSchemaColTypeCode, &typeCode);
    GetValue(row, kSchemaColDefaultValue, &defaultText);
    // Two columns of one ID would read each other's values.
    if (id.IsNull() || id.GetInteger() < 1 || !ids.insert(id.GetInteger()).second) {
      table->ReportDamage(string("its columns in ") + kSchemaTableName + " do not have distinct column IDs");
    }
    const auto type = static_cast<ParvexDataType>(typeCode.GetInteger());
    ParvexColumnInfo info(columnName.IsNull() ? string() : columnName.GetSaveString(), type, 0, id.GetInteger());
    info.defaultValue = DefaultFromText(defaultText, type);
    table->AddColumn(info);
  }
  return table;
}

std::unique_ptr<ParvexTrans> ParvexSchema::LoadTable(const string& tableName) {
  SimpleVector<RowID> all;
  GetRowIDs(&all);
  SimpleVector<RowID> rows;
  ParvexValue rowName;
  for (RowID row : all) {
    if (GetValue(row, kSchemaColTableName, &rowName) && !rowName.IsNull() &&
        rowName.RawText().Compare(tableName) == 0) {
      rows.push_back(row);
    }
  }
  return BuildTable(tableName, rows);
}

void ParvexSchema::ReloadTable(ParvexTrans** table) {
  if (!table || !*table) return;
  const string tableName = (*table)->name;
  const RowID lastRow = (*table)->LastRowIDCounter();
  const uint32_t lastColumn = (*table)->LastColumnIDCounter();
  delete *table;
  *table = LoadTable(tableName).release();
  if (*table) (*table)->RaiseCounters(lastRow, lastColumn);
}

void ParvexSchema::LoadAllTables(SimpleVector<ParvexTable*>& tables) {
  // One pass over the schema groups the rows by table name (first spelling
  // wins), keeping the order of each table's first row.
  SimpleVector<RowID> all;
  GetRowIDs(&all);
  std::unordered_map<std::string, size_t> seen;
  std::vector<string> names;
  std::vector<SimpleVector<RowID>> rowsOf;
  seen.emplace(FoldName(string(kSchemaTableName)), SIZE_MAX);
  ParvexValue rowName;
  for (RowID row : all) {
    if (!GetValue(row, kSchemaColTableName, &rowName) || rowName.IsNull()) continue;
    const string text = rowName.GetSaveString();
    auto [it, added] = seen.emplace(FoldName(text), names.size());
    if (added) {
      names.push_back(text);
      rowsOf.emplace_back();
    }
    if (it->second != SIZE_MAX) rowsOf[it->second].push_back(row);
  }
  for (size_t i = 0; i < names.size(); ++i) {
    if (auto table = BuildTable(names[i], rowsOf[i])) tables.push_back(table.release());
  }
}

}  // namespace parvex
