// Comparison nodes: PExprCompare and PExprCompareLike.
//
// A comparison's domain is decided by the type its left operand had before
// any Boolean coercion: String, Date, Time and Timestamp compare their texts
// byte by byte (case-sensitive, unsigned bytes); everything else compares
// integer readings, so doubles compare truncated (2.3 == 2.7). When either
// side is Boolean both sides are coerced to Boolean first.
#include <string>

#include "query/expr_nodes.h"
#include "query/like_pattern.h"

namespace parvex {

namespace {

bool ComparesAsText(ParvexDataType type) {
  return type == kTypeString || type == kTypeDate || type == kTypeTime || type == kTypeTimestamp;
}

// The operator's characters: one character as itself, two as first*256+second.
std::string OperatorText(long op) {
  if (op >= 0 && op < 256) return std::string(1, static_cast<char>(op));
  return std::string{static_cast<char>((op >> 8) & 0xFF), static_cast<char>(op & 0xFF)};
}

}  // namespace

// --- PExprCompare -------------------------------------------------------------------

PExprCompare::PExprCompare(long compareOp, ParvexExprPtr l, ParvexExprPtr r)
    : op(compareOp), left(std::move(l)), right(std::move(r)) {}

bool PExprCompare::Evaluate(const ParvexEvalContext& context, ParvexValue* out) const {
  if (!left || !right || !left->Evaluate(context, out)) return false;
  ParvexValue rhs;
  if (!right->Evaluate(context, &rhs)) return false;

  const ParvexDataType leftType = out->Type();
  if (leftType == kTypeBoolean || rhs.Type() == kTypeBoolean) {
    out->CoerceToType(kTypeBoolean);
    rhs.CoerceToType(kTypeBoolean);
  }
  int order;
  if (ComparesAsText(leftType)) {
    order = out->GetString().CompareWithCase(rhs.GetString());
  } else {
    const int32_t a = out->GetInteger();
    const int32_t b = rhs.GetInteger();
    order = a < b ? -1 : (a > b ? 1 : 0);
  }
  bool result;
  switch (op) {
    case kCompareLess:
      result = order < 0;
      break;
    case kCompareGreater:
      result = order > 0;
      break;
    case kCompareNotEqual:
      result = order != 0;
      break;
    case kCompareLessEqual:
      result = order <= 0;
      break;
    case kCompareEqual:
      result = order == 0;
      break;
    case kCompareGreaterEqual:
      result = order >= 0;
      break;
    default:
      return true;  // an unknown operator leaves the left operand
  }
  out->SetInteger(result ? 1 : 0);
  return true;
}

string PExprCompare::Description() const {
  const string l = left ? left->Description() : string();
  const string r = right ? right->Description() : string();
  return string("(") + l + " " + OperatorText(op) + " " + r + ")";
}

long PExprCompare::ChooseWildcardTable(const ParvexRecSet* recSet, bool* usable) const {
  const long a = left ? left->ChooseWildcardTable(recSet, nullptr) : -1;
  const long b = right ? right->ChooseWildcardTable(recSet, nullptr) : -1;
  if (a != -1) {
    if (usable) *usable = b == -1 || b == a;
    return a;
  }
  if (usable) *usable = true;
  return b;
}

bool PExprCompare::Valid() const { return left && right && left->Valid() && right->Valid(); }

bool PExprCompare::HasAggregate() const {
  return (left && left->HasAggregate()) || (right && right->HasAggregate());
}

// --- PExprCompareLike ---------------------------------------------------------------

PExprCompareLike::PExprCompareLike(ParvexExprPtr v, ParvexExprPtr p, ParvexExprPtr e)
    : value(std::move(v)), pattern(std::move(p)), escape(std::move(e)) {}

PExprCompareLike::~PExprCompareLike() = default;

const LikePattern& PExprCompareLike::Prepared(const ParvexValue& patternValue, char escapeChar) const {
  string copy;  // the text of a pattern that is not a String
  std::string_view text;
  if (patternValue.Type() == kTypeString && !patternValue.IsNull()) {
    text = patternValue.RawText().view();
  } else {
    copy = patternValue.GetString();
    text = copy.view();
  }
  // (Compared byte by byte: a pattern is short, and this runs once per row.)
  bool same = mPrepared && mPreparedEscape == escapeChar && mPreparedText.size() == text.size();
  for (size_t i = 0; same && i < text.size(); ++i) same = mPreparedText[i] == text[i];
  if (!same) {
    mPrepared = std::make_unique<LikePattern>(text, escapeChar);
    mPreparedText.assign(text);
    mPreparedEscape = escapeChar;
  }
  return *mPrepared;
}

bool PExprCompareLike::Evaluate(const ParvexEvalContext& context, ParvexValue* out) const {
  if (!value || !pattern) return false;
  // A stored String against a constant pattern without ESCAPE (the usual
  // scan) is matched where the text lies, without copying it out.
  if (!escape) {
    const ParvexValue* constant = pattern->ConstantValue();
    std::string_view text;
    if (constant && value->PeekString(context, &text)) {
      out->SetInteger(Prepared(*constant, 0).Matches(text) ? 1 : 0);
      return true;
    }
  }
  if (!value->Evaluate(context, out)) return false;
  ParvexValue patternValue;
  if (!pattern->Evaluate(context, &patternValue)) return false;
  char escapeChar = 0;
  if (escape) {
    ParvexValue escapeValue;
    if (!escape->Evaluate(context, &escapeValue)) return false;
    const string escapeText = escapeValue.GetString();
    if (escapeText.length() != 1) return false;  // the escape must be exactly one character
    escapeChar = escapeText.data()[0];
  }
  const LikePattern& prepared = Prepared(patternValue, escapeChar);
  const bool match = out->Type() == kTypeString && !out->IsNull() ? prepared.Matches(out->RawText().view())
                                                                  : prepared.Matches(out->GetString().view());
  out->SetInteger(match ? 1 : 0);
  return true;
}

string PExprCompareLike::Description() const {
  string text =
      (value ? value->Description() : string()) + " LIKE " + (pattern ? pattern->Description() : string());
  if (escape) text = text + " ESCAPE " + escape->Description();
  return text;
}

long PExprCompareLike::ChooseWildcardTable(const ParvexRecSet* recSet, bool* usable) const {
  const long a = value ? value->ChooseWildcardTable(recSet, nullptr) : -1;
  const long b = pattern ? pattern->ChooseWildcardTable(recSet, nullptr) : -1;
  const long c = escape ? escape->ChooseWildcardTable(recSet, nullptr) : -1;
  if (a != -1) {
    if (usable) *usable = (b == -1 || b == a) && (c == -1 || c == a);
    return a;
  }
  if (b != -1) {
    if (usable) *usable = c == -1 || c == b;
    return b;
  }
  if (usable) *usable = true;
  return c;
}

bool PExprCompareLike::Valid() const {
  return value && pattern && value->Valid() && pattern->Valid() && (!escape || escape->Valid());
}

bool PExprCompareLike::HasAggregate() const {
  return (value && value->HasAggregate()) || (pattern && pattern->HasAggregate()) ||
         (escape && escape->HasAggregate());
}

}  // namespace parvex
