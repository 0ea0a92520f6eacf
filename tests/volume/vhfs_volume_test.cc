// The hierarchical layer: items, names, folders, moving and deleting, and
// item contents through VFile. Files left open when the volume goes are seen
// through the file access layer (file_access_test).
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

}  // namespace
}  // namespace parvex
