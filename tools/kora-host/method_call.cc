// Declaration parsing and calls through declared signatures.
#include "method_call.h"

#include <cctype>
#include <cstdlib>

namespace kora_host {

namespace {

std::string Trim(const std::string& text) {
  size_t begin = 0;
  size_t end = text.size();
  while (begin < end && std::isspace(static_cast<unsigned char>(text[begin]))) ++begin;
  while (end > begin && std::isspace(static_cast<unsigned char>(text[end - 1]))) --end;
  return text.substr(begin, end - begin);
}

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

bool IsIdentifier(const std::string& text) {
  if (text.empty() || !(std::isalpha(static_cast<unsigned char>(text[0])) || text[0] == '_')) {
    return false;
  }
  for (char c : text) {
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '_') return false;
  }
  return true;
}

// Splits "x As Type" at the last word "as"; false when there is none.
bool SplitAs(const std::string& text, std::string* before, std::string* type) {
  const std::string lower = Lower(text);
  for (size_t i = lower.size(); i-- > 0;) {
    if (lower.compare(i, 4, " as ") == 0) {
      *before = Trim(text.substr(0, i));
      *type = Trim(text.substr(i + 4));
      return true;
    }
  }
  return false;
}

template <typename R, typename... Done>
R CallWith(KORAFunction function, KORAObject self, const std::vector<CValue>& args, size_t i,
           Done... done) {
  if (i == args.size()) return reinterpret_cast<R (*)(KORAObject, Done...)>(function)(self, done...);
  if constexpr (sizeof...(Done) < kMaxParams) {
    switch (args[i].type) {
      case CType::kText:
        return CallWith<R>(function, self, args, i + 1, done..., args[i].text);
      case CType::kInt:
        return CallWith<R>(function, self, args, i + 1, done..., args[i].integer);
      case CType::kObject:
        return CallWith<R>(function, self, args, i + 1, done..., args[i].object);
      case CType::kVoid:
        break;
    }
  }
  std::abort();  // declarations are checked when they are registered
}

}  // namespace

bool SameName(const std::string& a, const std::string& b) { return Lower(a) == Lower(b); }

CType CTypeOf(const std::string& typeName) {
  const std::string type = Lower(typeName);
  if (type == "string") return CType::kText;
  if (type == "integer" || type == "boolean") return CType::kInt;
  return CType::kObject;
}

bool ParseMethodDeclaration(const std::string& text, MethodDecl* out, std::string* error) {
  MethodDecl decl;
  decl.text = text;
  const size_t open = text.find('(');
  const size_t close = text.rfind(')');
  if (open == std::string::npos || close == std::string::npos || close < open) {
    *error = "no parameter list in \"" + text + "\"";
    return false;
  }
  decl.name = Trim(text.substr(0, open));
  if (!IsIdentifier(decl.name)) {
    *error = "bad method name in \"" + text + "\"";
    return false;
  }
  const std::string tail = Trim(text.substr(close + 1));
  if (!tail.empty()) {
    if (Lower(tail).compare(0, 3, "as ") != 0 || !IsIdentifier(Trim(tail.substr(3)))) {
      *error = "bad result type in \"" + text + "\"";
      return false;
    }
    decl.resultType = Trim(tail.substr(3));
    decl.result = CTypeOf(decl.resultType);
  }
  const std::string list = Trim(text.substr(open + 1, close - open - 1));
  size_t start = 0;
  while (!list.empty() && start <= list.size()) {
    size_t comma = list.find(',', start);
    if (comma == std::string::npos) comma = list.size();
    std::string param = Trim(list.substr(start, comma - start));
    ParamDecl p;
    const size_t equals = param.find('=');
    if (equals != std::string::npos) {
      p.defaultValue = Trim(param.substr(equals + 1));
      param = Trim(param.substr(0, equals));
      if (p.defaultValue.empty()) {
        *error = "empty default in \"" + text + "\"";
        return false;
      }
    }
    if (!SplitAs(" " + param, &p.name, &p.type) || !IsIdentifier(p.name) ||
        !IsIdentifier(p.type)) {
      *error = "bad parameter \"" + param + "\" in \"" + text + "\"";
      return false;
    }
    p.ctype = CTypeOf(p.type);
    decl.params.push_back(p);
    start = comma + 1;
  }
  if (decl.params.size() > kMaxParams) {
    *error = "more than " + std::to_string(kMaxParams) + " parameters in \"" + text + "\"";
    return false;
  }
  *out = std::move(decl);
  return true;
}

std::string NormalizeDeclaration(const std::string& text) {
  std::string out;
  bool pendingBlank = false;
  for (char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isspace(byte)) {
      pendingBlank = true;
      continue;
    }
    const bool word = std::isalnum(byte) || c == '_';
    if (pendingBlank && word && !out.empty() &&
        (std::isalnum(static_cast<unsigned char>(out.back())) || out.back() == '_')) {
      out.push_back(' ');
    }
    pendingBlank = false;
    out.push_back(static_cast<char>(std::tolower(byte)));
  }
  return out;
}

CValue CallMethod(const MethodDecl& method, KORAObject self, const std::vector<CValue>& args) {
  CValue result;
  result.type = method.result;
  switch (method.result) {
    case CType::kVoid:
      CallWith<void>(method.function, self, args, 0);
      break;
    case CType::kText:
      result.text = CallWith<KORAText>(method.function, self, args, 0);
      break;
    case CType::kInt:
      result.integer = CallWith<int32_t>(method.function, self, args, 0);
      break;
    case CType::kObject:
      result.object = CallWith<KORAObject>(method.function, self, args, 0);
      break;
  }
  return result;
}

}  // namespace kora_host
