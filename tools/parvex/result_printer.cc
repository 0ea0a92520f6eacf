// The output modes of query results.
#include "result_printer.h"

#include <cmath>
#include <string>
#include <vector>

#include "csv.h"
#include "text_width.h"

namespace parvex::shell {
namespace {

struct ModeName {
  OutputMode mode;
  const char* name;
};
constexpr ModeName kModeNames[] = {
    {OutputMode::kBox, "box"},   {OutputMode::kTable, "table"}, {OutputMode::kMarkdown, "markdown"},
    {OutputMode::kList, "list"}, {OutputMode::kCsv, "csv"},     {OutputMode::kJson, "json"},
    {OutputMode::kLine, "line"},
};

// The borders of a framed mode: corners and joints of the top rule, the rule
// under the header and the bottom rule (left, middle, right each), the
// horizontal line and the vertical bar. An empty top or bottom is not drawn.
struct Frame {
  const char* top[3];
  const char* header[3];
  const char* bottom[3];
  const char* horizontal;
  const char* vertical;
  bool rowCount;
};
constexpr Frame kBoxFrame = {{"┌", "┬", "┐"}, {"├", "┼", "┤"}, {"└", "┴", "┘"}, "─", "│", true};
constexpr Frame kTableFrame = {{"+", "+", "+"}, {"+", "+", "+"}, {"+", "+", "+"}, "-", "|", true};
constexpr Frame kMarkdownFrame = {{"", "", ""}, {"|", "|", "|"}, {"", "", ""}, "-", "|", false};

// A Markdown cell can't hold a bare '|'.
std::string EscapeMarkdown(std::string text) {
  for (size_t i = text.find('|'); i != std::string::npos; i = text.find('|', i + 2)) text.insert(i, 1, '\\');
  return text;
}

bool IsNumericType(int type) { return type == PARVEX_TYPE_INTEGER || type == PARVEX_TYPE_DOUBLE; }

// The current row's value in `column` as text; NULL gives `nullText`.
std::string ValueText(const Statement& result, int column, std::string_view nullText) {
  return result.Text(column).value_or(std::string(nullText));
}

// Appends `text` as a JSON string. Bytes that are not valid UTF-8 are written
// as \u00XX (read as Latin-1), so the output is always valid JSON.
void AppendJsonString(std::string_view text, std::string* out) {
  static const char kHex[] = "0123456789abcdef";
  out->push_back('"');
  for (size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    switch (c) {
      case '"': *out += "\\\""; continue;
      case '\\': *out += "\\\\"; continue;
      case '\n': *out += "\\n"; continue;
      case '\r': *out += "\\r"; continue;
      case '\t': *out += "\\t"; continue;
      case '\b': *out += "\\b"; continue;
      case '\f': *out += "\\f"; continue;
      default: break;
    }
    if (c < 0x20) {
      *out += "\\u00";
      out->push_back(kHex[c >> 4]);
      out->push_back(kHex[c & 0xF]);
      continue;
    }
    if (c < 0x80) {
      out->push_back(static_cast<char>(c));
      continue;
    }
    // A multi-byte sequence is copied when it is valid UTF-8.
    const size_t length = Utf8SequenceLength(text, i);
    if (length > 0) {
      out->append(text.substr(i, length));
      i += length - 1;
      continue;
    }
    *out += "\\u00";
    out->push_back(kHex[c >> 4]);
    out->push_back(kHex[c & 0xF]);
  }
  out->push_back('"');
}

void AppendJsonValue(const Statement& result, int column, std::string* out) {
  const std::optional<std::string> text = result.Text(column);
  if (!text) {
    *out += "null";
    return;
  }
  switch (result.ColumnType(column)) {
    case PARVEX_TYPE_INTEGER:
      *out += *text;
      return;
    case PARVEX_TYPE_BOOLEAN:
      *out += result.Int(column) ? "true" : "false";
      return;
    case PARVEX_TYPE_DOUBLE:
      *out += std::isfinite(result.Double(column)) ? *text : "null";
      return;
    default:
      AppendJsonString(*text, out);
      return;
  }
}

void AppendPadded(std::string_view text, size_t width, size_t target, bool right, std::string* out) {
  const size_t pad = target > width ? target - width : 0;
  if (right) out->append(pad, ' ');
  out->append(text);
  if (!right) out->append(pad, ' ');
}

}  // namespace

bool ParseOutputMode(std::string_view name, OutputMode* mode) {
  for (const ModeName& m : kModeNames) {
    if (name == m.name) {
      *mode = m.mode;
      return true;
    }
  }
  return false;
}

const char* OutputModeName(OutputMode mode) {
  for (const ModeName& m : kModeNames) {
    if (m.mode == mode) return m.name;
  }
  return "?";
}

bool ResultPrinter::Print(Statement& result, bool rowReady) {
  switch (mSettings.mode) {
    case OutputMode::kBox:
    case OutputMode::kTable:
    case OutputMode::kMarkdown: return PrintFramed(result, rowReady);
    case OutputMode::kList: return PrintDelimited(result, rowReady, false);
    case OutputMode::kCsv: return PrintDelimited(result, rowReady, true);
    case OutputMode::kJson: return PrintJson(result, rowReady);
    case OutputMode::kLine: return PrintLine(result, rowReady);
  }
  return true;
}

bool ResultPrinter::PrintFramed(Statement& result, bool rowReady) {
  const bool markdown = mSettings.mode == OutputMode::kMarkdown;
  const Frame& frame = markdown ? kMarkdownFrame : mSettings.mode == OutputMode::kTable ? kTableFrame : kBoxFrame;
  const auto cellText = [markdown](std::string_view text) {
    std::string escaped = EscapeControlBytes(text);
    return markdown ? EscapeMarkdown(std::move(escaped)) : escaped;
  };
  struct Cell {
    std::string text;
    size_t width;
    bool right;
  };
  const int columns = result.ColumnCount();
  std::vector<size_t> widths(static_cast<size_t>(columns), 0);
  std::vector<bool> numeric(static_cast<size_t>(columns));
  std::vector<Cell> header;
  for (int c = 0; c < columns; ++c) {
    numeric[c] = IsNumericType(result.ColumnType(c));
    std::string text = cellText(result.ColumnName(c));
    const size_t width = DisplayWidth(text);
    header.push_back({std::move(text), width, numeric[c]});
    if (mSettings.ShowHeaders()) widths[c] = width;
  }
  // Every cell is measured before anything is drawn.
  std::vector<Cell> cells;
  size_t rows = 0;
  for (; rowReady; rowReady = result.Step(), ++rows) {
    if (Stopped()) return false;
    for (int c = 0; c < columns; ++c) {
      std::string text = cellText(ValueText(result, c, mSettings.NullText()));
      const size_t width = DisplayWidth(text);
      if (width > widths[c]) widths[c] = width;
      cells.push_back({std::move(text), width, numeric[c]});
    }
  }
  const auto rule = [&](const char* const (&joints)[3]) {
    std::string line;
    if (*joints[0] == '\0') return line;
    line = joints[0];
    for (int c = 0; c < columns; ++c) {
      if (c > 0) line += joints[1];
      for (size_t k = 0; k < widths[c] + 2; ++k) line += frame.horizontal;
    }
    line += joints[2];
    line += '\n';
    return line;
  };
  const auto rowLine = [&](const Cell* row) {
    std::string line = frame.vertical;
    for (int c = 0; c < columns; ++c) {
      line += ' ';
      AppendPadded(row[c].text, row[c].width, widths[c], row[c].right, &line);
      line += ' ';
      line += frame.vertical;
    }
    line += '\n';
    return line;
  };
  std::string out = rule(frame.top);
  if (mSettings.ShowHeaders()) {
    out += rowLine(header.data());
    out += rule(frame.header);
  }
  mOut << out;
  for (size_t r = 0; r < rows; ++r) {
    if (Stopped()) return false;
    mOut << rowLine(&cells[r * static_cast<size_t>(columns)]);
  }
  mOut << rule(frame.bottom);
  if (frame.rowCount) mOut << rows << (rows == 1 ? " row\n" : " rows\n");
  return true;
}

bool ResultPrinter::PrintDelimited(Statement& result, bool rowReady, bool csv) {
  const int columns = result.ColumnCount();
  const std::string_view separator = csv ? std::string_view(",") : std::string_view(mSettings.separator);
  const std::string_view rowSeparator = csv ? std::string_view("\n") : std::string_view(mSettings.rowSeparator);
  const std::string_view nullText = mSettings.NullText();
  const auto appendText = [&](std::string_view text, std::string* line) {
    if (csv) {
      // Quoted also when it could be read back as NULL.
      AppendCsvField(text, line, text.empty() || text == nullText);
    } else {
      line->append(text);
    }
  };
  const auto append = [&](int column, std::string* line) {
    const std::optional<std::string> text = result.Text(column);
    if (text) {
      appendText(*text, line);
    } else {
      line->append(nullText);
    }
  };
  std::string line;
  if (mSettings.ShowHeaders()) {
    for (int c = 0; c < columns; ++c) {
      if (c > 0) line += separator;
      appendText(result.ColumnName(c), &line);
    }
    line += rowSeparator;
    mOut << line;
  }
  for (; rowReady; rowReady = result.Step()) {
    if (Stopped()) return false;
    line.clear();
    for (int c = 0; c < columns; ++c) {
      if (c > 0) line += separator;
      append(c, &line);
    }
    line += rowSeparator;
    mOut << line;
  }
  return true;
}

bool ResultPrinter::PrintJson(Statement& result, bool rowReady) {
  const int columns = result.ColumnCount();
  std::vector<std::string> keys;
  for (int c = 0; c < columns; ++c) {
    std::string key;
    AppendJsonString(result.ColumnName(c), &key);
    key += ':';
    keys.push_back(std::move(key));
  }
  mOut << '[';
  std::string line;
  for (size_t r = 0; rowReady; rowReady = result.Step(), ++r) {
    if (Stopped()) {
      mOut << "]\n";  // keep what was written a valid document
      return false;
    }
    line = r == 0 ? "{" : ",\n{";
    for (int c = 0; c < columns; ++c) {
      if (c > 0) line += ',';
      line += keys[c];
      AppendJsonValue(result, c, &line);
    }
    line += '}';
    mOut << line;
  }
  mOut << "]\n";
  return true;
}

bool ResultPrinter::PrintLine(Statement& result, bool rowReady) {
  const int columns = result.ColumnCount();
  std::vector<std::string> names;
  std::vector<size_t> nameWidths;
  size_t widest = 0;
  for (int c = 0; c < columns; ++c) {
    names.push_back(EscapeControlBytes(result.ColumnName(c)));
    nameWidths.push_back(DisplayWidth(names.back()));
    if (nameWidths.back() > widest) widest = nameWidths.back();
  }
  std::string block;
  for (size_t r = 0; rowReady; rowReady = result.Step(), ++r) {
    if (Stopped()) return false;
    block.clear();
    if (r > 0) block += '\n';
    for (int c = 0; c < columns; ++c) {
      AppendPadded(names[c], nameWidths[c], widest, true, &block);
      block += " = ";
      block += EscapeControlBytes(ValueText(result, c, mSettings.NullText()));
      block += '\n';
    }
    mOut << block;
  }
  return true;
}

}  // namespace parvex::shell
