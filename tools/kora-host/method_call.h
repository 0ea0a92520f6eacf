// Method declarations of the host's class model and calls through them.
//
// A declaration reads "Name(param As Type[=default], ...) [As Type]", the
// word "as" in any case. It decides the C signature of the registered
// function: the object first, then per parameter a KORAText (String), an
// int32_t (Integer, Boolean) or a KORAObject (any other type); the result
// likewise, or void without "As". CallMethod casts the function to that
// signature and calls it; it supports up to kMaxParams parameters.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "kora/kora_plugin.h"

namespace kora_host {

enum class CType { kVoid, kText, kInt, kObject };

inline constexpr size_t kMaxParams = 2;

struct ParamDecl {
  std::string name;
  std::string type;
  CType ctype = CType::kInt;
  std::string defaultValue;  // empty when none
};

struct MethodDecl {
  std::string text;  // the declaration as registered
  std::string name;
  std::vector<ParamDecl> params;
  std::string resultType;  // empty for none
  CType result = CType::kVoid;
  KORAFunction function = nullptr;
};

struct PropertyDecl {
  std::string name;
  std::string type;
  CType ctype = CType::kObject;
};

// The C form of a host type name.
CType CTypeOf(const std::string& typeName);

// Parses a declaration; false with `error` set when it is malformed or has
// more parameters than the host can call.
bool ParseMethodDeclaration(const std::string& text, MethodDecl* out, std::string* error);

// A declaration reduced for comparison: lower case, blanks only where two
// words meet.
std::string NormalizeDeclaration(const std::string& text);

// A value in its C form (the member that `type` selects is the one used).
struct CValue {
  CType type = CType::kVoid;
  KORAText text{};
  int32_t integer = 0;
  KORAObject object = nullptr;
};

// Calls `method` on `self` with `args` (one per parameter, of its C type).
CValue CallMethod(const MethodDecl& method, KORAObject self, const std::vector<CValue>& args);

// Case-insensitive ASCII equality.
bool SameName(const std::string& a, const std::string& b);

}  // namespace kora_host
