// The host-file stream: the coherence of its write-back window against a
// plain model of the file's bytes, files too big to address, and what is not
// a regular file; and the fixed-size view of a block (FilePtr). Other opening
// errors are seen through the shell scripts (opening.sql).
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "platform/data_file.h"
#include "platform/file_ptr.h"

namespace parvex {
namespace {

class DataFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/parvex-datafile-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    mDir = pattern;
  }
  void TearDown() override {
    for (const std::string& path : mCreated) ::unlink(path.c_str());
    ::rmdir(mDir.c_str());
  }
  std::string PathOf(const char* name) {
    mCreated.push_back(mDir + "/" + name);
    return mCreated.back();
  }
  static std::vector<uint8_t> ReadBack(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  }

  std::string mDir;
  std::vector<std::string> mCreated;
};

// A FIFO or a folder is refused at once (opening a FIFO would block); a file
// opened read-only refuses writes.
TEST_F(DataFileTest, RefusesWhatIsNotARegularFileAndWritesWhenReadOnly) {
  UnixDataFile file;
  const std::string fifo = PathOf("fifo");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  EXPECT_FALSE(file.Open(fifo.c_str(), DataFile::kOpenReadWrite));
  EXPECT_EQ(file.LastError(), EINVAL);
  EXPECT_FALSE(file.Open(mDir.c_str(), DataFile::kOpenReadOnly));
  EXPECT_EQ(file.LastError(), EISDIR);
  const std::string path = PathOf("plain");
  ASSERT_TRUE(file.Create(path.c_str()));
  ASSERT_TRUE(file.Close());
  ASSERT_TRUE(file.Open(path.c_str(), DataFile::kOpenReadOnly));
  EXPECT_FALSE(file.WriteData("x", 1));
  EXPECT_EQ(file.LastError(), EBADF);
}

// Mixed reads, writes, seeks past the end and length changes of every size,
// checked step by step against a vector and finally against the bytes on disk.
TEST_F(DataFileTest, WindowStaysCoherentWithTheFile) {
  const std::string path = PathOf("coherence");
  UnixDataFile file;
  ASSERT_TRUE(file.Create(path.c_str()));
  std::vector<uint8_t> model;
  int64_t position = 0;
  std::mt19937 random(20240611);
  const int32_t sizes[] = {1, 7, 100, 4095, 4097, UnixDataFile::kWindowSize - 1, UnixDataFile::kWindowSize,
                           UnixDataFile::kWindowSize + 3, 3 * UnixDataFile::kWindowSize};
  std::vector<uint8_t> data, got;
  for (int step = 0; step < 400; ++step) {
    const int action = static_cast<int>(random() % 10);
    const int32_t size = sizes[random() % std::size(sizes)];
    if (action < 4) {  // write
      data.resize(static_cast<size_t>(size));
      for (uint8_t& b : data) b = static_cast<uint8_t>(random());
      ASSERT_TRUE(file.WriteData(data.data(), size)) << "step " << step;
      if (static_cast<int64_t>(model.size()) < position + size) model.resize(static_cast<size_t>(position + size), 0);
      std::copy(data.begin(), data.end(), model.begin() + position);
      position += size;
    } else if (action < 7) {  // read
      got.assign(static_cast<size_t>(size), 0xEE);
      int32_t n = -1;
      const bool ok = file.ReadData(got.data(), size, &n);
      const int64_t expect = std::max<int64_t>(0, std::min<int64_t>(size, static_cast<int64_t>(model.size()) - position));
      ASSERT_EQ(n, expect) << "step " << step;
      EXPECT_EQ(ok, expect > 0);
      ASSERT_TRUE(std::equal(got.begin(), got.begin() + n, model.begin() + position)) << "step " << step;
      position += n;
    } else if (action < 9) {  // seek, sometimes past the end
      const int64_t limit = static_cast<int64_t>(model.size()) + 5000;
      position = static_cast<int64_t>(random() % static_cast<uint32_t>(limit));
      ASSERT_TRUE(file.SeekFromStart(static_cast<int32_t>(position)));
    } else {  // change the length
      const int64_t length = static_cast<int64_t>(random() % (model.size() + 70000));
      ASSERT_TRUE(file.SetLength(static_cast<int32_t>(length)));
      model.resize(static_cast<size_t>(length), 0);
    }
    ASSERT_EQ(file.GetLength(), static_cast<int32_t>(model.size())) << "step " << step;
    ASSERT_EQ(file.GetPosition(), static_cast<int32_t>(position));
  }
  ASSERT_TRUE(file.FlushBuffer());
  EXPECT_EQ(ReadBack(path), model);
  ASSERT_TRUE(file.Close());
  EXPECT_EQ(ReadBack(path), model);
}

// The volume's way of appending: a header at the end, the file grown by a
// block, a patch a block behind (the previous header), then data; across
// many window boundaries, against a model.
TEST_F(DataFileTest, AppendingBlocksWithPatchesBehindStaysCoherent) {
  const std::string path = PathOf("append");
  UnixDataFile file;
  ASSERT_TRUE(file.Create(path.c_str()));
  std::vector<uint8_t> model;
  auto write = [&](int64_t at, int32_t count, uint8_t value) {
    std::vector<uint8_t> bytes(static_cast<size_t>(count), value);
    ASSERT_TRUE(file.SeekFromStart(static_cast<int32_t>(at)));
    ASSERT_TRUE(file.WriteData(bytes.data(), count));
    if (model.size() < static_cast<size_t>(at + count)) model.resize(static_cast<size_t>(at + count));
    std::fill(model.begin() + at, model.begin() + at + count, value);
  };
  int64_t previous = -1;
  for (int block = 0; block < 400; ++block) {
    const int64_t start = static_cast<int64_t>(model.size());
    const int32_t size = block % 7 == 0 ? 3000 : 1024;
    write(start, 28, static_cast<uint8_t>(block));
    ASSERT_TRUE(file.SetLength(static_cast<int32_t>(start + size)));
    model.resize(static_cast<size_t>(start + size));
    if (previous >= 0) write(previous + 20, 8, 0xEE);
    write(start + 28, size - 32, static_cast<uint8_t>(block + 1));
    previous = start;
    if (block % 50 == 0) {  // a read far behind in between
      uint8_t byte = 0;
      ASSERT_TRUE(file.SeekFromStart(static_cast<int32_t>(start / 2)));
      ASSERT_TRUE(file.ReadByte(&byte));
      ASSERT_EQ(byte, model[static_cast<size_t>(start / 2)]);
    }
  }
  ASSERT_EQ(file.GetLength(), static_cast<int32_t>(model.size()));
  ASSERT_TRUE(file.Close());
  EXPECT_EQ(ReadBack(path), model);
}

TEST_F(DataFileTest, RefusesLengthsBeyondTwoGigabytes) {
  const std::string path = PathOf("huge");
  {
    const int fd = ::open(path.c_str(), O_CREAT | O_RDWR, 0600);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::ftruncate(fd, static_cast<off_t>(INT32_MAX) + 1), 0);  // sparse
    ::close(fd);
  }
  UnixDataFile file;
  EXPECT_FALSE(file.Open(path.c_str(), DataFile::kOpenReadOnly));
  EXPECT_EQ(file.LastError(), EFBIG);

  ASSERT_TRUE(file.Create(path.c_str()));
  ASSERT_TRUE(file.SetLength(INT32_MAX - 2));
  ASSERT_TRUE(file.SeekFromStart(INT32_MAX - 2));
  EXPECT_TRUE(file.WriteData("ab", 2));
  EXPECT_FALSE(file.WriteData("c", 1));
  EXPECT_EQ(file.LastError(), EFBIG);
  EXPECT_EQ(file.GetLength(), INT32_MAX);
  ASSERT_TRUE(file.SetLength(0));
}

TEST(FilePtrTest, ReadsAndWritesOnlyWithinItsBlock) {
  uint8_t block[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  FilePtr view(block, 8);
  view.SetBigEndian();
  uint32_t value = 0;
  ASSERT_TRUE(view.ReadLong(&value));
  EXPECT_EQ(value, 0x01020304u);
  ASSERT_TRUE(view.WriteShort(0xABCD));
  EXPECT_EQ(block[4], 0xAB);
  EXPECT_EQ(block[5], 0xCD);
  EXPECT_FALSE(view.WriteLong(0));  // 2 bytes left: nothing is written
  EXPECT_EQ(view.LastError(), ENOSPC);
  EXPECT_EQ(block[6], 7);
  EXPECT_FALSE(view.SeekFromStart(9));
  ASSERT_TRUE(view.SetLength(4));
  EXPECT_EQ(view.GetPosition(), 4);
  EXPECT_TRUE(view.IsEOF());
  uint8_t byte = 0;
  EXPECT_FALSE(view.ReadByte(&byte));
  ASSERT_TRUE(view.WriteByte(0xEE));  // lengthens up to the block's size
  EXPECT_EQ(view.GetLength(), 5);
  EXPECT_FALSE(view.SetLength(9));
  ASSERT_TRUE(view.SeekFromStart(2));
  int32_t got = 0;
  uint8_t buffer[8];
  ASSERT_TRUE(view.ReadData(buffer, 8, &got));
  EXPECT_EQ(got, 3);
  EXPECT_TRUE(view.Close());
  EXPECT_FALSE(view.ReadData(buffer, 1, &got));
  EXPECT_EQ(view.LastError(), EBADF);

  const uint8_t fixed[2] = {9, 9};
  FilePtr readOnly(fixed, 2);
  EXPECT_FALSE(readOnly.WriteByte(1));
  EXPECT_EQ(readOnly.LastError(), EBADF);
  ASSERT_TRUE(readOnly.ReadByte(&byte));
  EXPECT_EQ(byte, 9);
}

}  // namespace
}  // namespace parvex
