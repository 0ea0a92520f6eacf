// The file access layer through real database files: exact names and
// listing by prefix, files that replace folders, volumes it can't read,
// streams that outlive it, files recreated in reused blocks. Creating,
// writing and reopening are covered by every engine script; the files that
// are not databases by the shell and host scripts.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "storage/file_access.h"
#include "storage/record_storage.h"

namespace parvex {
namespace {

class FileAccessTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/parvex-access-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    mDir = pattern;
    mPath = mDir + "/db.pvx";
  }
  void TearDown() override {
    ::unlink(mPath.c_str());
    ::rmdir(mDir.c_str());
  }
  std::vector<uint8_t> DiskBytes() const {
    std::ifstream in(mPath, std::ios::binary);
    return std::vector<uint8_t>((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  }
  void WriteDisk(const std::string& bytes) const {
    std::ofstream out(mPath, std::ios::binary);
    out << bytes;
  }

  std::string mDir;
  std::string mPath;
};

// What the shell and host scripts don't try: a volume of a later version and
// one cut short are refused and left as they are.
TEST_F(FileAccessTest, RefusesVolumesItCannotReadAndLeavesThemAlone) {
  ParvexFileAccess access;
  ParvexStatus status;
  WriteDisk(std::string("VFSv\0\0\0\4", 8) + std::string(40, '\0'));
  EXPECT_FALSE(access.CreateOrOpenDataFolder(mPath.c_str(), true, &status));
  EXPECT_EQ(DiskBytes().size(), 48u);
  WriteDisk(std::string("VFSv\0\0\0\3BlkS", 12));
  EXPECT_FALSE(access.CreateOrOpenDataFolder(mPath.c_str(), true, &status));
  EXPECT_EQ(DiskBytes().size(), 12u);
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
