// The hierarchical layer: items, names, folders, moving and deleting, and
// item contents through VFile.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "volume/vhfs_volume.h"
#include "volume/volume_format.h"
#include "volume_test_util.h"

namespace parvex {
namespace {

constexpr VFileType kBinary = FourCharCode("BINA");

class ItemTest : public ::testing::Test {
 protected:
  void SetUp() override {
    mStream.Reset();
    mVolume = VHFSVolume::Create(&mStream, false);
    ASSERT_NE(mVolume, nullptr);
    mRoot = mVolume->GetRoot();
    ASSERT_EQ(mRoot.type, kFolderType);
  }
  std::vector<std::string> ChildNames(const VFileRef& folder) {
    std::vector<VFileRef> children;
    EXPECT_TRUE(mVolume->GetChildren(folder, &children));
    std::vector<std::string> names;
    for (const VFileRef& child : children) names.push_back(child.name.str());
    return names;
  }

  FileHandle mStream;
  std::unique_ptr<VHFSVolume> mVolume;
  VFileRef mRoot;
};

TEST_F(ItemTest, CreationRefusesBadParentsNamesAndTypes) {
  VFileRef file = mVolume->CreateFile(mRoot, "file", kBinary);
  VFileRef fake = file;  // a reference that claims to be a folder is checked against the item
  fake.type = kFolderType;
  const struct {
    VFileRef parent;
    string name;
    VFileType type;
  } refused[] = {{mRoot, "", kBinary},         {mRoot, string(std::string_view("a\0b", 3)), kBinary},
                 {mRoot, "x", 0},              {mRoot, "x", kFolderType},
                 {file, "child", kBinary},     {fake, "child", kBinary}};
  for (const auto& c : refused) EXPECT_TRUE(mVolume->CreateFile(c.parent, c.name, c.type).IsEmpty()) << c.name.str();
  EXPECT_EQ(ChildNames(mRoot), std::vector<std::string>{"file"});
  EXPECT_EQ(mVolume->CreateFile(mRoot, "next", kBinary).fileID, file.fileID + 1);
  EXPECT_FALSE(mVolume->SetFileType(&file, kFolderType));
  EXPECT_FALSE(mVolume->SetFileType(&mRoot, kBinary));
  EXPECT_EQ(mVolume->OpenFile(mRoot), nullptr);
}

TEST_F(ItemTest, NamesKeepTheirFirst223Bytes) {
  std::string longName;
  for (int i = 0; i < 300; ++i) longName += static_cast<char>('a' + i % 26);
  VFileRef file = mVolume->CreateFile(mRoot, string(longName), kBinary);
  ASSERT_FALSE(file.IsEmpty());
  EXPECT_EQ(file.name.view(), longName.substr(0, 223));
  VFileRef reloaded;
  reloaded.fileID = file.fileID;
  ASSERT_TRUE(mVolume->LoadFileInfo(&reloaded));
  EXPECT_EQ(reloaded.name.view(), longName.substr(0, 223));

  ASSERT_TRUE(mVolume->SetFileName(&file, "short"));
  EXPECT_EQ(file.name.view(), "short");
  ASSERT_TRUE(mVolume->LoadFileInfo(&reloaded));
  EXPECT_EQ(reloaded.name.view(), "short");  // the rest of the field was zeroed
  ASSERT_TRUE(mVolume->SetFileName(&file, string(longName.substr(0, 240))));
  EXPECT_EQ(file.name.length(), 223u);
  EXPECT_FALSE(mVolume->SetFileName(&file, ""));
}

TEST_F(ItemTest, UnlinkingMovesTheLastChildIntoTheGap) {
  std::vector<VFileRef> items;
  for (const char* name : {"a", "b", "c", "d"}) items.push_back(mVolume->CreateFile(mRoot, name, kBinary));
  ASSERT_TRUE(mVolume->DeleteFile(items[1]));
  EXPECT_EQ(ChildNames(mRoot), (std::vector<std::string>{"a", "d", "c"}));
  ASSERT_TRUE(mVolume->DeleteFile(items[2]));  // "c" is last: only the count shrinks
  EXPECT_EQ(ChildNames(mRoot), (std::vector<std::string>{"a", "d"}));
  // The folder's length field keeps the longest list it had.
  EXPECT_EQ(mVolume->GetFileInfo(mRoot).length, 4 + 4 * 4);
  EXPECT_FALSE(mVolume->UnlinkFile(items[1], mRoot));  // no longer listed
  EXPECT_FALSE(mVolume->DeleteFile(items[1]));
  EXPECT_EQ(ChildNames(mRoot), (std::vector<std::string>{"a", "d"}));
}

TEST_F(ItemTest, DeletingRefusesTheRootFoldersWithChildrenAndOpenFiles) {
  EXPECT_FALSE(mVolume->DeleteFile(mRoot));
  VFileRef folder = mVolume->CreateDirectory(mRoot, "folder");
  ASSERT_EQ(folder.type, kFolderType);
  VFileRef inner = mVolume->CreateFile(folder, "inner", kBinary);
  EXPECT_FALSE(mVolume->DeleteFile(folder));
  {
    std::unique_ptr<VFile> open = mVolume->OpenFile(inner);
    ASSERT_NE(open, nullptr);
    EXPECT_FALSE(mVolume->DeleteFile(inner));
  }
  ASSERT_TRUE(mVolume->DeleteFile(inner));
  EXPECT_TRUE(ChildNames(folder).empty());
  ASSERT_TRUE(mVolume->DeleteFile(folder));
  EXPECT_TRUE(ChildNames(mRoot).empty());
  EXPECT_EQ(mVolume->OpenFile(inner), nullptr);
}

TEST_F(ItemTest, MovingBetweenFolders) {
  VFileRef a = mVolume->CreateDirectory(mRoot, "a");
  VFileRef b = mVolume->CreateDirectory(a, "b");
  VFileRef file = mVolume->CreateFile(mRoot, "file", kBinary);
  ASSERT_TRUE(mVolume->MoveFile(file, b));
  EXPECT_EQ(mVolume->GetParent(file).fileID, b.fileID);
  EXPECT_TRUE(mVolume->MoveFile(file, b));  // already there
  EXPECT_EQ(ChildNames(b), std::vector<std::string>{"file"});
  // A folder can't go into itself or below itself; a file is no folder.
  EXPECT_FALSE(mVolume->MoveFile(a, b));
  EXPECT_FALSE(mVolume->MoveFile(a, a));
  EXPECT_FALSE(mVolume->MoveFile(file, file));
  ASSERT_TRUE(mVolume->MoveFile(b, mRoot));
  EXPECT_EQ(ChildNames(mRoot), (std::vector<std::string>{"a", "b"}));
  EXPECT_TRUE(ChildNames(a).empty());
}

TEST_F(ItemTest, ContentStreamKeepsLengthAndPosition) {
  VFileRef ref = mVolume->CreateFile(mRoot, "stream", kBinary);
  std::unique_ptr<VFile> file = mVolume->OpenFile(ref);
  ASSERT_NE(file, nullptr);
  ASSERT_TRUE(file->WriteData("abcdef", 6));
  EXPECT_EQ(file->GetLength(), 6);
  EXPECT_EQ(mVolume->GetFileInfo(ref).length, 0);  // the header follows on UpdateFileHeader
  ASSERT_TRUE(file->UpdateFileHeader());
  EXPECT_EQ(mVolume->GetFileInfo(ref).length, 6);
  // A read that would pass the length stops at it; at the end a read
  // succeeds with nothing. SetLength only changes the length in memory.
  char buffer[16] = {};
  int32_t got = 0;
  ASSERT_TRUE(file->SetLength(2));
  ASSERT_TRUE(file->SeekFromStart(0));
  ASSERT_TRUE(file->ReadData(buffer, 16, &got));
  EXPECT_EQ(got, 2);
  EXPECT_TRUE(file->ReadData(buffer, 4, &got));
  EXPECT_EQ(got, 0);
  ASSERT_TRUE(file->SetLength(6));
  ASSERT_TRUE(file->SeekFromStart(4));
  ASSERT_TRUE(file->ReadData(buffer, 16, &got));
  EXPECT_EQ(std::string(buffer, got), "ef");
  // The content of the first block ends 256 bytes before its data area does.
  EXPECT_TRUE(file->SeekFromStart(992 - 256));
  EXPECT_FALSE(file->SeekFromStart(992 - 256 + 1));
  EXPECT_FALSE(file->SeekFromStart(-1));
  ASSERT_TRUE(file->WriteData("XY", 2));  // crosses into a new block
  ASSERT_TRUE(file->Close());
  EXPECT_FALSE(file->ReadData(buffer, 1, &got));

  std::unique_ptr<VFile> again = mVolume->OpenFile(ref);
  ASSERT_EQ(again->GetLength(), 992 - 256 + 2);
  ASSERT_TRUE(again->SeekFromStart(992 - 256));
  ASSERT_TRUE(again->ReadData(buffer, 2, &got));
  EXPECT_EQ(std::string(buffer, 2), "XY");
  again->SetReadOnly(true);
  EXPECT_FALSE(again->WriteData("z", 1));
}

TEST_F(ItemTest, FilesStillOpenWhenTheVolumeGoesAreClosedFirst) {
  VFileRef ref = mVolume->CreateFile(mRoot, "late", kBinary);
  std::unique_ptr<VFile> file = mVolume->OpenFile(ref);
  ASSERT_TRUE(file->WriteData("1234", 4));
  mVolume.reset();
  EXPECT_FALSE(file->IsOpen());
  EXPECT_FALSE(file->WriteData("5", 1));
  file.reset();
  VHFSVolume reopened(&mStream, false);
  std::vector<VFileRef> children;
  ASSERT_TRUE(reopened.GetChildren(reopened.GetRoot(), &children));
  ASSERT_EQ(children.size(), 1u);
  EXPECT_EQ(reopened.GetFileInfo(children[0]).length, 4);
}

}  // namespace
}  // namespace parvex
