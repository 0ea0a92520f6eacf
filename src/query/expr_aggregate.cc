// PExprAggregate: AVG, COUNT, MAX, MIN and SUM over the context's group.
//
// Every record set of the group contributes its argument's reading, NULL or
// unknown alike (an argument that cannot be evaluated reads as NULL). COUNT
// counts record sets; SUM adds integer readings in wrapping 32-bit arithmetic,
// or double readings in extended precision when the argument is typed Double;
// AVG always averages the double readings; MIN and MAX compare by the
// argument's static type and keep the first of equal values. With DISTINCT,
// AVG, COUNT and SUM work on the distinct values in order of first appearance.
#include <cstdint>
#include <cstring>
#include <string>
#include <unordered_set>
#include <vector>

#include "platform/text_encoding.h"
#include "query/expr_nodes.h"

namespace parvex {

namespace {

// Families of types within which ParvexValue::Equals is an equivalence that a
// hash key can express: Integer and Boolean compare integers, String and
// Binary compare texts without regard to ASCII case, Date, Time and Timestamp
// each compare texts with values of their own type, Double compares doubles.
enum class KeyFamily { kNone, kInteger, kText, kDate, kTime, kTimestamp, kDouble, kMixed };

KeyFamily FamilyOf(ParvexDataType type) {
  switch (type) {
    case kTypeInteger:
    case kTypeBoolean:
      return KeyFamily::kInteger;
    case kTypeString:
    case kTypeBinary:
      return KeyFamily::kText;
    case kTypeDate:
      return KeyFamily::kDate;
    case kTypeTime:
      return KeyFamily::kTime;
    case kTypeTimestamp:
      return KeyFamily::kTimestamp;
    case kTypeDouble:
      return KeyFamily::kDouble;
    default:
      return KeyFamily::kMixed;
  }
}

// The key under which two non-NULL values of one family are equal exactly
// when Equals says so.
std::string KeyOf(const ParvexValue& value, KeyFamily family) {
  switch (family) {
    case KeyFamily::kInteger: {
      const int32_t i = value.GetInteger();
      return std::string(reinterpret_cast<const char*>(&i), sizeof i);
    }
    case KeyFamily::kDouble: {
      const double d = value.RawDouble() + 0.0;  // -0.0 and 0.0 are equal
      return std::string(reinterpret_cast<const char*>(&d), sizeof d);
    }
    default: {
      std::string key(value.RawText().view());
      for (char& c : key) c = AsciiToLower(c);
      return key;
    }
  }
}

// The distinct values among `values`, in order of first appearance: a value
// is kept when no value kept before it `Equals` it. Equals is not symmetric
// across type families, so a list that mixes families is searched linearly;
// within one family (NULLs aside) a hash set gives the same answers.
std::vector<ParvexValue> DistinctValues(const std::vector<ParvexValue>& values) {
  KeyFamily family = KeyFamily::kNone;
  for (const ParvexValue& v : values) {
    if (v.IsNull()) continue;
    const KeyFamily f = FamilyOf(v.Type());
    if (family == KeyFamily::kNone) {
      family = f;
    } else if (f != family) {
      family = KeyFamily::kMixed;
    }
  }
  std::vector<ParvexValue> kept;
  if (family == KeyFamily::kMixed) {
    for (const ParvexValue& v : values) {
      bool found = false;
      for (const ParvexValue& k : kept) {
        if (k.Equals(v)) {
          found = true;
          break;
        }
      }
      if (!found) kept.push_back(v);
    }
    return kept;
  }
  std::unordered_set<std::string> seen;
  seen.reserve(values.size());
  bool sawNull = false;
  for (const ParvexValue& v : values) {
    if (v.IsNull()) {
      if (!sawNull) kept.push_back(v);  // every NULL equals every other NULL
      sawNull = true;
    } else if (family == KeyFamily::kDouble && v.RawDouble() != v.RawDouble()) {
      kept.push_back(v);  // a NaN equals nothing, not even itself
    } else if (seen.insert(KeyOf(v, family)).second) {
      kept.push_back(v);
    }
  }
  return kept;
}

const char* KindName(long kind) {
  switch (kind) {
    case kAggAvg:
      return "AVG";
    case kAggCount:
      return "COUNT";
    case kAggMax:
      return "MAX";
    case kAggMin:
      return "MIN";
    case kAggSum:
      return "SUM";
    default:
      return "?";
  }
}

// Orders two readings of MIN/MAX arguments by the argument's static type.
int CompareForExtreme(const ParvexValue& a, const ParvexValue& b, ParvexDataType type) {
  if (type == kTypeInteger) {
    const int32_t x = a.GetInteger(), y = b.GetInteger();
    return x < y ? -1 : (x > y ? 1 : 0);
  }
  if (type == kTypeDouble) {
    const double x = a.GetDouble(), y = b.GetDouble();
    return x < y ? -1 : (x > y ? 1 : 0);
  }
  return a.GetString().Compare(b.GetString());
}

}  // namespace

PExprAggregate::PExprAggregate(long aggKind, ParvexExprPtr arg, bool isDistinct)
    : argument(std::move(arg)), kind(aggKind), distinct(isDistinct) {}

bool PExprAggregate::Evaluate(const ParvexEvalContext& context, ParvexValue* out) const {
  if (const ParvexAggregateValues* known = context.aggregateValues) {
    for (size_t i = 0; i < known->count; ++i) {
      if (known->nodes[i] != this) continue;
      *out = known->values[i];
      return true;
    }
  }
  if (!context.group) return false;
  if (kind < kAggAvg || kind > kAggSum || (!argument && kind != kAggCount)) return false;
  const SimpleVector<ParvexRecSet*>& group = *context.group;
  const size_t n = group.size();

  if (kind == kAggCount && (!argument || !distinct)) {
    out->SetInteger(static_cast<int32_t>(n));
    return true;
  }

  // The argument's reading on every record set of the group, in group order.
  std::vector<ParvexValue> readings(n);
  ParvexEvalContext rowContext = context;
  for (size_t i = 0; i < n; ++i) {
    rowContext.recSet = group[i];
    argument->Evaluate(rowContext, &readings[i]);  // unknown leaves the NULL reading
  }

  static const SimpleVector<ParvexTable*> kNoTables;
  const ParvexDataType argType = argument->GetType(context.tables ? *context.tables : kNoTables);

  if (kind == kAggMax || kind == kAggMin) {
    if (n == 0) {
      out->SetNull(argType);
      return true;
    }
    size_t best = 0;
    for (size_t i = 1; i < n; ++i) {
      const int order = CompareForExtreme(readings[i], readings[best], argType);
      if ((kind == kAggMax && order > 0) || (kind == kAggMin && order < 0)) best = i;
    }
    *out = readings[best];
    return true;
  }

  const std::vector<ParvexValue> values = distinct ? DistinctValues(readings) : std::move(readings);
  if (kind == kAggCount) {
    out->SetInteger(static_cast<int32_t>(values.size()));
  } else if (kind == kAggAvg) {
    if (values.empty()) {
      out->SetNull(kTypeDouble);  // no rows, no average
      return true;
    }
    long double sum = 0;
    for (const ParvexValue& v : values) sum += v.GetDouble();
    out->SetDouble(static_cast<double>(sum / static_cast<long double>(values.size())));
  } else if (argType == kTypeDouble) {
    long double sum = 0;
    for (const ParvexValue& v : values) sum += v.GetDouble();
    out->SetDouble(static_cast<double>(sum));
  } else {
    uint32_t sum = 0;  // wraps like the engine's 32-bit integers
    for (const ParvexValue& v : values) sum += static_cast<uint32_t>(v.GetInteger());
    out->SetInteger(static_cast<int32_t>(sum));
  }
  return true;
}

string PExprAggregate::Description() const {
  std::string text = KindName(kind);
  text += "(";
  if (distinct && argument) text += "DISTINCT ";
  text += argument ? std::string(argument->Description().view()) : std::string("*");
  text += ")";
  return string(text);
}

long PExprAggregate::ChooseWildcardTable(const ParvexRecSet* recSet, bool* usable) const {
  if (!argument) {
    if (usable) *usable = true;
    return -1;
  }
  return argument->ChooseWildcardTable(recSet, usable);
}

bool PExprAggregate::Valid() const {
  if (kind < kAggAvg || kind > kAggSum) return false;
  return argument ? argument->Valid() : kind == kAggCount;
}

}  // namespace parvex
