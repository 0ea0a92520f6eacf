// RFC 4180 field quoting and record reading.
#include "csv.h"

namespace parvex::shell {

void AppendCsvField(std::string_view field, std::string* out, bool quote) {
  if (!quote && field.find_first_of(",\"\r\n") == std::string_view::npos) {
    out->append(field);
    return;
  }
  out->push_back('"');
  for (char c : field) {
    if (c == '"') out->push_back('"');
    out->push_back(c);
  }
  out->push_back('"');
}

CsvReader::CsvReader(std::string_view text) : mText(text) {
  if (mText.substr(0, 3) == "\xEF\xBB\xBF") mPos = 3;
}

bool CsvReader::ReadQuoted(CsvField* field) {
  const size_t openLine = mLine;
  ++mPos;  // the opening quote
  for (;;) {
    const size_t quote = mText.find('"', mPos);
    if (quote == std::string_view::npos) {
      mError = "line " + std::to_string(openLine) + ": quoted field is not closed";
      return false;
    }
    const std::string_view run = mText.substr(mPos, quote - mPos);
    for (char c : run) {
      if (c == '\n') ++mLine;
    }
    field->text.append(run);
    mPos = quote + 1;
    if (mPos < mText.size() && mText[mPos] == '"') {
      field->text.push_back('"');
      ++mPos;
      continue;
    }
    break;
  }
  // Behind the closing quote only a separator or a record end may follow.
  if (mPos < mText.size()) {
    const char c = mText[mPos];
    const bool recordEnd = c == '\n' || (c == '\r' && mPos + 1 < mText.size() && mText[mPos + 1] == '\n') ||
                           (c == '\r' && mPos + 1 == mText.size());
    if (c != ',' && !recordEnd) {
      mError = "line " + std::to_string(mLine) + ": unexpected text after a closing quote";
      return false;
    }
  }
  field->quoted = true;
  return true;
}

bool CsvReader::Next(std::vector<CsvField>* fields) {
  fields->clear();
  if (Failed() || mPos >= mText.size()) return false;
  mRecordLine = mLine;
  for (;;) {
    CsvField field;
    if (mPos < mText.size() && mText[mPos] == '"') {
      if (!ReadQuoted(&field)) return false;
    } else {
      size_t end = mPos;
      while (end < mText.size() && mText[end] != ',' && mText[end] != '\n') ++end;
      std::string_view raw = mText.substr(mPos, end - mPos);
      // The CR of a CR LF record end is not part of the field.
      if (!raw.empty() && raw.back() == '\r' && (end == mText.size() || mText[end] == '\n')) {
        raw.remove_suffix(1);
      }
      field.text.assign(raw);
      mPos = end;
    }
    fields->push_back(std::move(field));
    if (mPos >= mText.size()) return true;
    const char c = mText[mPos];
    if (c == ',') {
      ++mPos;
      if (mPos == mText.size()) {
        fields->emplace_back();  // a trailing comma ends with an empty field
        return true;
      }
      continue;
    }
    if (c == '\r') ++mPos;  // CR LF behind a quoted field, or a lone final CR
    if (mPos < mText.size() && mText[mPos] == '\n') {
      ++mPos;
      ++mLine;
    }
    return true;
  }
}

}  // namespace parvex::shell
