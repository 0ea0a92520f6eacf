// What a stored table keeps in memory: after opening, its row-position map
// (a few words per row) and nothing of the records; while scanning, one
// decoded record at a time; in a transaction, its rows about as encoded. Measured by counting the bytes that operator new
// hands out in this test program.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>

#include "harness/engine.h"
#include "storage/file_access.h"
#include "storage/trans.h"

namespace {

std::atomic<size_t> gLiveBytes{0};
std::atomic<size_t> gPeakBytes{0};

// Each block carries its size in front so that delete can subtract it.
constexpr size_t kHeader = 16;

void* CountedAlloc(size_t size) {
  void* block = std::malloc(size + kHeader);
  if (!block) return nullptr;
  *static_cast<size_t*>(block) = size;
  const size_t live = gLiveBytes.fetch_add(size) + size;
  size_t peak = gPeakBytes.load();
  while (live > peak && !gPeakBytes.compare_exchange_weak(peak, live)) {
  }
  return static_cast<char*>(block) + kHeader;
}

void CountedFree(void* p) {
  if (!p) return;
  char* block = static_cast<char*>(p) - kHeader;
  gLiveBytes.fetch_sub(*reinterpret_cast<size_t*>(block));
  std::free(block);
}

}  // namespace

void* operator new(size_t size) {
  if (void* p = CountedAlloc(size)) return p;
  throw std::bad_alloc();
}
void* operator new[](size_t size) {
  if (void* p = CountedAlloc(size)) return p;
  throw std::bad_alloc();
}
void* operator new(size_t size, const std::nothrow_t&) noexcept { return CountedAlloc(size); }
void* operator new[](size_t size, const std::nothrow_t&) noexcept { return CountedAlloc(size); }
void operator delete(void* p) noexcept { CountedFree(p); }
void operator delete[](void* p) noexcept { CountedFree(p); }
void operator delete(void* p, size_t) noexcept { CountedFree(p); }
void operator delete[](void* p, size_t) noexcept { CountedFree(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { CountedFree(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { CountedFree(p); }

namespace parvex {
namespace {

std::unique_ptr<ParvexTrans> OpenWide(ParvexFileAccess* access) {
  auto table = std::make_unique<ParvexTrans>(access, string("wide"));
  table->AddColumn(ParvexColumnInfo(string("n"), kTypeInteger, 0, 1));
  table->AddColumn(ParvexColumnInfo(string("text"), kTypeString, 0, 2));
  return table;
}

TEST(TransMemoryTest, AnOpenTableHoldsItsRowMapAndOneRecord) {
  constexpr int kRows = 10000;
  const std::string padding(200, 'x');
  TempFolder folder;
  const string path(folder.File("memory.pvx"));
  ParvexStatus status;
  {
    ParvexFileAccess access;
    ASSERT_TRUE(access.CreateOrOpenDataFolder(path, true, &status));
    auto table = OpenWide(&access);
    const size_t beforeAdding = gLiveBytes.load();
    for (int i = 0; i < kRows; ++i) {
      ParvexValueList values;
      values.push_back(new ParvexValueWithID(ParvexValue::Integer(i), 1));
      values.push_back(new ParvexValueWithID(ParvexValue::String(string(padding + std::to_string(i))), 2));
      ASSERT_NE(table->AddRow(values, true), kInvalidRowID);
    }
    // A pending row costs its encoded body (about 225 bytes here) and a few
    // words, not an object per value.
    EXPECT_LT(gLiveBytes.load() - beforeAdding, static_cast<size_t>(kRows) * (225 + 64) + (256u << 10));
    ASSERT_TRUE(table->Commit());
    HostFileFailure failure;
    ASSERT_TRUE(access.Commit(&failure));
  }

  // The database file's page cache is bounded on its own: kept to its
  // smallest here so that the figures below are the table's.
  ParvexFileAccess access;
  HostFileOptions options;
  options.cachePages = JournaledFile::kMinCachePages;
  ASSERT_TRUE(access.CreateOrOpenDataFolder(path, options, &status));
  const size_t beforeOpen = gLiveBytes.load();
  auto table = OpenWide(&access);
  const size_t opened = gLiveBytes.load() - beforeOpen;
  // The records hold more than 200 bytes per row; the map a few words.
  EXPECT_LT(opened, static_cast<size_t>(kRows) * 48 + (256u << 10));

  SimpleVector<RowID> ids;
  table->GetRowIDs(&ids);
  ASSERT_EQ(ids.size(), static_cast<size_t>(kRows));
  auto scan = [&] {
    long long sum = 0;
    size_t textBytes = 0;
    for (RowID id : ids) {
      ParvexValue n, text;
      EXPECT_TRUE(table->GetValue(id, 1, &n));
      EXPECT_TRUE(table->GetValue(id, 2, &text));
      sum += n.GetInteger();
      textBytes += text.GetString().length();
    }
    EXPECT_EQ(sum, static_cast<long long>(kRows) * (kRows - 1) / 2);
    EXPECT_GT(textBytes, static_cast<size_t>(kRows) * 200);
  };
  // The first pass may leave the volume knowing the chain of blocks it
  // walked (a few bytes per block); a table keeping records would keep more
  // than 200 bytes per row.
  // (Listing the rows read every record header already, so the cache may
  // also shrink.)
  const size_t beforeFirst = gLiveBytes.load();
  scan();
  EXPECT_LT(static_cast<int64_t>(gLiveBytes.load() - beforeFirst), int64_t{kRows} * 32);
  // A second pass holds one record at a time and keeps nothing.
  const size_t beforeSecond = gLiveBytes.load();
  gPeakBytes.store(beforeSecond);
  scan();
  EXPECT_LT(gPeakBytes.load() - beforeSecond, 64u << 10);
  // (The cache may hold fewer pages after the pass than before it, or the
  // few more that reading ahead brings in.)
  EXPECT_LT(static_cast<int64_t>(gLiveBytes.load() - beforeSecond), int64_t{12} << 10);
  EXPECT_EQ(table->recordDecodes, 2ul * kRows);
}

}  // namespace
}  // namespace parvex
