// The file access layer through real database files: volumes it can't read,
// streams that outlive it (and the volume under them), files recreated in
// reused blocks. Creating,
// writing and reopening are covered by every engine script; the files that
// are not databases by the shell and host scripts.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "harness/files.h"
#include "storage/file_access.h"
#include "storage/record_storage.h"

namespace parvex {
namespace {

class FileAccessTest : public ::testing::Test {
 protected:
  TempFolder folder;
  const std::string mPath = folder.File("db.pvx");
};

// What the shell and host scripts don't try: a volume of a later version and
// one cut short are refused and left as they are.
TEST_F(FileAccessTest, RefusesVolumesItCannotReadAndLeavesThemAlone) {
  ParvexFileAccess access;
  ParvexStatus status;
  for (const std::string& bytes : {std::string("VFSv\0\0\0\4", 8) + std::string(40, '\0'),
                                   std::string("VFSv\0\0\0\3BlkS", 12)}) {
    ASSERT_TRUE(testing::WriteFile(mPath, bytes));
    EXPECT_FALSE(access.CreateOrOpenDataFolder(mPath.c_str(), true, &status));
    EXPECT_EQ(testing::ReadFile(mPath), bytes);
  }
  EXPECT_FALSE(access.IsOpen());
  EXPECT_EQ(access.OpenFile("a", true, false), nullptr);
}

TEST_F(FileAccessTest, StreamsOutlivingTheFileAccessAreClosedNotDangling) {
  std::unique_ptr<RandomAccessMechanism> file;
  {
    ParvexFileAccess access;
    ASSERT_TRUE(access.CreateOrOpenDataFolder(mPath.c_str(), true, nullptr));
    file = access.OpenFile("late", true, false);
    ASSERT_TRUE(file && file->WriteData("kept", 4) && file->FlushToDisk());
    HostFileFailure failure;
    ASSERT_TRUE(access.Commit(&failure));
  }
  EXPECT_FALSE(file->WriteData("x", 1));
  file.reset();
  ParvexFileAccess access;
  ASSERT_TRUE(access.CreateOrOpenDataFolder(mPath.c_str(), false, nullptr));
  file = access.OpenFile("late", false, true);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->GetLength(), 4);  // the length reached the item header when flushed
}

// A table file recreated in the blocks of a deleted one must start with a
// zero metadata area, not with the deleted file's bytes.
TEST_F(FileAccessTest, RecreatedRecordFileInReusedBlocksStartsWithZeroMetadata) {
  ParvexFileAccess access;
  ParvexStatus status;
  ASSERT_TRUE(access.CreateOrOpenDataFolder(mPath.c_str(), true, &status));
  {
    auto old = access.OpenFile("t.dat", true, false);
    ASSERT_NE(old, nullptr);
    std::vector<uint8_t> junk(600, 0xAB);
    ASSERT_TRUE(old->WriteData(junk.data(), static_cast<int32_t>(junk.size())));
  }
  ASSERT_TRUE(access.DeleteFile("t.dat"));
  ParvexStorage storage(access.OpenFile("t.dat", true, false), nullptr);
  string metadata;
  ASSERT_TRUE(storage.ReadMetadata(&metadata));
  ASSERT_EQ(metadata.length(), 256u);
  for (size_t i = 0; i < metadata.length(); ++i) ASSERT_EQ(metadata[i], 0u) << "byte " << i;
}

}  // namespace
}  // namespace parvex
