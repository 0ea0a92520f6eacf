// LIKE matching cost on inputs that make a naive backtracking matcher explode.
#include <benchmark/benchmark.h>

#include <string>

#include "query/functions.h"

namespace parvex {
namespace {

// '%a%a%a%a%a%a%a%a%b' against a run of 'a's: no match, every '%' a choice.
void BM_LikeManyPercents(benchmark::State& state) {
  const string text(std::string(static_cast<size_t>(state.range(0)), 'a'));
  const string pattern("%a%a%a%a%a%a%a%a%b");
  for (auto _ : state) benchmark::DoNotOptimize(WildcardMatch(text, pattern, 0));
  state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_LikeManyPercents)->RangeMultiplier(10)->Range(1000, 1000000)->Complexity();

// A long block with '_' positions (shift-and over several machine words).
void BM_LikeLongWildcardBlock(benchmark::State& state) {
  std::string block;
  for (int i = 0; i < 100; ++i) block += "a_";
  const string text(std::string(static_cast<size_t>(state.range(0)), 'a'));
  const string pattern("%" + block + "b%");
  for (auto _ : state) benchmark::DoNotOptimize(WildcardMatch(text, pattern, 0));
  state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_LikeLongWildcardBlock)->RangeMultiplier(10)->Range(1000, 1000000)->Complexity();

// A typical short pattern on a short text.
void BM_LikeShort(benchmark::State& state) {
  const string text("cool vanilla beans");
  const string pattern("%VANILLA%");
  for (auto _ : state) benchmark::DoNotOptimize(WildcardMatch(text, pattern, 0));
}
BENCHMARK(BM_LikeShort);

}  // namespace
}  // namespace parvex
