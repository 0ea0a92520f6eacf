// The file access layer end to end through real database files: creating and
// reopening, named files, listing, refusing files that are not databases.
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

std::vector<std::string> Names(const std::vector<string>& names) {
  std::vector<std::string> out;
  for (const string& name : names) out.push_back(name.str());
  return out;
}

TEST_F(FileAccessTest, CreatesWritesAndReopensADatabase) {
  {
    ParvexFileAccess access;
    ParvexStatus status;
    ASSERT_TRUE(access.CreateOrOpenDataFolder(mPath.c_str(), true, &status)) << status.Description().str();
    std::unique_ptr<RandomAccessMechanism> data = access.OpenFile("t.dat", true, false);
    ASSERT_NE(data, nullptr);
    ASSERT_TRUE(data->WriteData("abc", 3));
    ASSERT_TRUE(data->WriteLong(0x01020304));
    ASSERT_TRUE(data->WriteDouble(1.0));
    // Stretch over several blocks.
    std::vector<uint8_t> bulk(5000);
    for (size_t i = 0; i < bulk.size(); ++i) bulk[i] = static_cast<uint8_t>(i * 7);
    ASSERT_TRUE(data->WriteData(bulk.data(), static_cast<int32_t>(bulk.size())));
    ASSERT_TRUE(access.CreateFile("t.map"));
    data.reset();
    HostFileFailure failure;
    ASSERT_TRUE(access.Commit(&failure));
  }
  // The first item's block follows the root folder's 1024-byte block at 48;
  // its content starts after the 28-byte block header and the 256-byte item
  // header: a big-endian long, then a big-endian double.
  const size_t content = 1072 + 28 + 256;
  const std::vector<uint8_t> disk = DiskBytes();
  ASSERT_GT(disk.size(), content + 15);
  const std::vector<uint8_t> head(disk.begin() + content, disk.begin() + content + 15);
  EXPECT_EQ(head, (std::vector<uint8_t>{'a', 'b', 'c', 1, 2, 3, 4, 0x3F, 0xF0, 0, 0, 0, 0, 0, 0}));

  ParvexFileAccess access;
  ASSERT_TRUE(access.CreateOrOpenDataFolder(mPath.c_str(), false, nullptr));
  std::vector<string> names;
  ASSERT_TRUE(access.FindFiles("t.", &names));
  EXPECT_EQ(Names(names), (std::vector<std::string>{"t.dat", "t.map"}));
  std::unique_ptr<RandomAccessMechanism> data = access.OpenFile("t.dat", false, true);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(data->GetLength(), 15 + 5000);
  ASSERT_TRUE(data->SeekFromStart(3));
  uint32_t value = 0;
  double number = 0;
  ASSERT_TRUE(data->ReadLong(&value));
  ASSERT_TRUE(data->ReadDouble(&number));
  EXPECT_EQ(value, 0x01020304u);
  EXPECT_EQ(number, 1.0);
  ASSERT_TRUE(data->SeekFromStart(15 + 4321));
  uint8_t byte = 0;
  ASSERT_TRUE(data->ReadByte(&byte));
  EXPECT_EQ(byte, static_cast<uint8_t>(4321 * 7));
  EXPECT_FALSE(data->WriteByte(1));  // opened read-only
}

TEST_F(FileAccessTest, NamesAreExactAndListedByPrefix) {
  ParvexFileAccess access;
  ASSERT_TRUE(access.CreateOrOpenDataFolder(mPath.c_str(), true, nullptr));
  for (const char* name : {"Orders.dat", "orders.dat", "Orders.map", "Orders.byDate.idx", "Other.dat"}) {
    ASSERT_TRUE(access.CreateFile(name)) << name;
  }
  EXPECT_TRUE(access.ContainsFile("Orders.dat"));
  EXPECT_FALSE(access.ContainsFile("ORDERS.DAT"));
  EXPECT_EQ(access.OpenFile("ORDERS.DAT", false, false), nullptr);
  std::vector<string> names;
  ASSERT_TRUE(access.FindFiles("Orders.", &names));
  EXPECT_EQ(Names(names), (std::vector<std::string>{"Orders.dat", "Orders.map", "Orders.byDate.idx"}));
  ASSERT_TRUE(access.FindFiles("", &names));
  EXPECT_EQ(names.size(), 5u);

  ASSERT_TRUE(access.DeleteFile("orders.dat"));
  EXPECT_FALSE(access.DeleteFile("orders.dat"));
  EXPECT_TRUE(access.ContainsFile("Orders.dat"));

  // CreateFile replaces an existing file with an empty one.
  {
    std::unique_ptr<RandomAccessMechanism> file = access.OpenFile("Other.dat", false, false);
    ASSERT_TRUE(file && file->WriteData("xyz", 3));
  }
  ASSERT_TRUE(access.CreateFile("Other.dat"));
  std::unique_ptr<RandomAccessMechanism> file = access.OpenFile("Other.dat", false, false);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->GetLength(), 0);
  // An open file can't be deleted or replaced.
  EXPECT_FALSE(access.DeleteFile("Other.dat"));
  EXPECT_FALSE(access.CreateFile("Other.dat"));
  EXPECT_TRUE(access.ContainsFile("Other.dat"));
}

TEST_F(FileAccessTest, ACreatedFileReplacesAFolderOfItsName) {
  ParvexFileAccess access;
  ASSERT_TRUE(access.CreateOrOpenDataFolder(mPath.c_str(), true, nullptr));
  VHFSVolume* volume = access.Volume();
  ASSERT_FALSE(volume->CreateDirectory(volume->GetRoot(), "x").IsEmpty());
  EXPECT_FALSE(access.ContainsFile("x"));
  EXPECT_EQ(access.OpenFile("x", false, false), nullptr);
  std::unique_ptr<RandomAccessMechanism> file = access.OpenFile("x", true, false);
  ASSERT_NE(file, nullptr);
  EXPECT_TRUE(access.ContainsFile("x"));
  std::vector<VFileRef> children;
  ASSERT_TRUE(volume->GetChildren(volume->GetRoot(), &children));
  ASSERT_EQ(children.size(), 1u);
  EXPECT_EQ(children[0].type, ParvexFileAccess::kParvexFileType);
}

TEST_F(FileAccessTest, RefusesWhatIsNotADatabaseAndLeavesItAlone) {
  ParvexFileAccess access;
  ParvexStatus status;
  EXPECT_FALSE(access.CreateOrOpenDataFolder(mPath.c_str(), false, &status));
  EXPECT_EQ(status.State(), kPXInvalidParameter);
  EXPECT_NE(status.Description().view().find("not found"), std::string_view::npos);

  const std::string text = "This is a text file, not a database at all.\n";
  WriteDisk(text);
  EXPECT_FALSE(access.CreateOrOpenDataFolder(mPath.c_str(), true, &status));
  EXPECT_EQ(status.State(), kPXDataException);
  EXPECT_NE(status.Description().view().find("not a database file"), std::string_view::npos);
  EXPECT_EQ(DiskBytes(), std::vector<uint8_t>(text.begin(), text.end()));
  EXPECT_FALSE(access.IsOpen());

  // The right magic with a later version, and a volume cut short.
  WriteDisk(std::string("VFSv\0\0\0\4", 8) + std::string(40, '\0'));
  EXPECT_FALSE(access.CreateOrOpenDataFolder(mPath.c_str(), true, &status));
  EXPECT_EQ(DiskBytes().size(), 48u);
  WriteDisk(std::string("VFSv\0\0\0\3BlkS", 12));
  EXPECT_FALSE(access.CreateOrOpenDataFolder(mPath.c_str(), true, &status));
  EXPECT_EQ(DiskBytes().size(), 12u);

  // An empty file becomes a database only when creating is asked for.
  WriteDisk("");
  EXPECT_FALSE(access.CreateOrOpenDataFolder(mPath.c_str(), false, &status));
  EXPECT_TRUE(DiskBytes().empty());
  EXPECT_TRUE(access.CreateOrOpenDataFolder(mPath.c_str(), true, &status));

  // A path that can't be opened as a file.
  ParvexFileAccess other;
  EXPECT_FALSE(other.CreateOrOpenDataFolder(mDir.c_str(), true, &status));
  EXPECT_NE(status.Description().view().find("Cannot open"), std::string_view::npos);
  EXPECT_FALSE(other.CreateOrOpenDataFolder("", true, &status));
  EXPECT_EQ(other.OpenFile("a", true, false), nullptr);
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
