// JournaledFile against a plain model of the file's bytes: random writes,
// cuts, reads, commits and rollbacks through a small cache (so pages spill
// before commits), with the disk after a crash or a power loss in the middle
// of a transaction checked against the last committed bytes; locks; and the
// journal's own layout.
#include "platform/journaled_file.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <random>
#include <string>
#include <vector>

#include "platform/fault_injection.h"
#include "platform/journal_format.h"
#include "platform/memory_file_system.h"

namespace parvex {
namespace {

constexpr char kPath[] = "db";
const std::string kJournalPath = std::string(kPath) + kJournalSuffix;

std::unique_ptr<JournaledFile> OpenFile(ParvexFileSystem* fileSystem, bool readOnly = false, int32_t cachePages = 8) {
  HostFileOptions options;
  options.fileSystem = fileSystem;
  options.create = true;
  options.readOnly = readOnly;
  options.cachePages = cachePages;
  HostFileFailure failure;
  auto file = JournaledFile::Open(kPath, options, &failure);
  EXPECT_NE(file, nullptr) << failure.action << ": " << failure.error;
  return file;
}

std::string ReadAll(JournaledFile& file) {
  std::string bytes(static_cast<size_t>(file.GetLength()), '\0');
  int32_t got = 0;
  EXPECT_TRUE(file.SeekFromStart(0));
  if (!bytes.empty()) {
    EXPECT_TRUE(file.ReadData(bytes.data(), static_cast<int32_t>(bytes.size()), &got));
  }
  EXPECT_EQ(got, static_cast<int32_t>(bytes.size()));
  return bytes;
}

// With the smallest cache pages spill before commits and reads that go on
// page after page take 2 pages at a time; with 64 pages they take 16.
void AgreeWithModel(int32_t cachePages) {
  MemoryFileSystem disk;
  std::mt19937 random(7);
  std::string committed;
  std::string current;
  auto file = OpenFile(&disk, false, cachePages);
  ASSERT_NE(file, nullptr);
  for (int step = 0; step < 2000; ++step) {
    const int action = static_cast<int>(random() % 100);
    if (action < 60) {
      const size_t offset = random() % (current.size() + 5000);
      const size_t count = 1 + random() % (random() % 4 == 0 ? 20000 : 50);
      std::string bytes(count, '\0');
      for (char& c : bytes) c = static_cast<char>(random() % 4);  // often equal to what is there
      ASSERT_TRUE(file->SeekFromStart(static_cast<int32_t>(offset)));
      ASSERT_TRUE(file->WriteData(bytes.data(), static_cast<int32_t>(count)));
      if (current.size() < offset + count) current.resize(offset + count, '\0');
      current.replace(offset, count, bytes);
    } else if (action < 66) {
      const size_t length = random() % (current.size() + 9000);
      ASSERT_TRUE(file->SetLength(static_cast<int32_t>(length)));
      current.resize(length, '\0');
    } else if (action < 85) {
      const size_t offset = current.empty() ? 0 : random() % current.size();
      const size_t count = 1 + random() % 9000;
      std::string bytes(count, '\0');
      int32_t got = 0;
      ASSERT_TRUE(file->SeekFromStart(static_cast<int32_t>(offset)));
      file->ReadData(bytes.data(), static_cast<int32_t>(count), &got);
      ASSERT_EQ(bytes.substr(0, static_cast<size_t>(got)), current.substr(offset, count)) << "step " << step;
    } else if (action < 93) {
      HostFileFailure failure;
      ASSERT_TRUE(file->Commit(&failure)) << failure.action;
      committed = current;
      ASSERT_EQ(disk.Contents(kPath), committed);
      ASSERT_FALSE(file->InTransaction());
    } else if (action < 97) {
      HostFileFailure failure;
      ASSERT_TRUE(file->Rollback(&failure)) << failure.action;
      current = committed;
      ASSERT_EQ(disk.Contents(kPath), committed);
      ASSERT_EQ(ReadAll(*file), committed);
    } else {
      // A crash now: the disk after it, opened read-only (which reads
      // around the hot journal and changes nothing) and read-write (which
      // rolls back), holds exactly the committed bytes.
      for (int loss = 0; loss < 2; ++loss) {
        auto after = loss ? disk.AfterPowerLoss(static_cast<uint64_t>(step)) : disk.AfterProcessCrash();
        const std::string before = after->Contents(kPath);
        auto reader = OpenFile(after.get(), true);
        ASSERT_NE(reader, nullptr);
        ASSERT_EQ(ReadAll(*reader), committed) << "step " << step << (loss ? ", power loss" : ", crash");
        reader.reset();
        EXPECT_EQ(after->Contents(kPath), before);
        auto writer = OpenFile(after.get());
        ASSERT_NE(writer, nullptr);
        ASSERT_EQ(ReadAll(*writer), committed) << "step " << step;
        writer.reset();
        EXPECT_EQ(after->Contents(kPath), committed);
        EXPECT_FALSE(after->Exists(kJournalPath));
      }
    }
  }
  // Closing without a commit rolls back and removes the journal.
  file.reset();
  EXPECT_EQ(disk.Contents(kPath), committed);
  EXPECT_FALSE(disk.Exists(kJournalPath));
}

TEST(JournaledFileTest, AgreesWithAModelThroughCommitsRollbacksAndCrashes) {
  AgreeWithModel(JournaledFile::kMinCachePages);
  AgreeWithModel(64);
}

}  // namespace
}  // namespace parvex
