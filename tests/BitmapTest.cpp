// Bitmap files, byte by byte.
#include <fourtapscale/ImageUtil.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <initializer_list>
#include <iterator>
#include <numeric>
#include <string>
#include <vector>

#include "conformance/GuardedImage.h"

namespace {

using conformance::GuardedImage;

typedef std::vector<unsigned char> Bytes;

struct Field {
  int size;
  unsigned value;
};

void Append(Bytes& bytes, std::initializer_list<Field> fields) {
  for (auto const& [size, value] : fields) {
    for (int i = 0; i < size; ++i) bytes.push_back(static_cast<unsigned char>(value >> 8 * i));
  }
}

Bytes Headers(int cx, int cy, int bitsPerPixel, unsigned pixelOffset, unsigned imageSize, unsigned planes = 1) {
  Bytes bytes{'B', 'M'};
  Append(bytes, {{4, pixelOffset + imageSize}, {4, 0}, {4, pixelOffset}});
  Append(bytes, {{4, 40}, {4, static_cast<unsigned>(cx)}, {4, static_cast<unsigned>(cy)}, {2, planes}});
  Append(bytes, {{2, static_cast<unsigned>(bitsPerPixel)}, {4, bitsPerPixel == 16 ? 3U : 0U}, {4, imageSize}});
  Append(bytes, {{4, 0}, {4, 0}, {4, 0}, {4, 0}});
  return bytes;
}

Bytes Numbered(size_t size, unsigned char first) {
  Bytes bytes(size);
  std::iota(bytes.begin(), bytes.end(), first);
  return bytes;
}

class Bitmap : public testing::Test {
 protected:
  ~Bitmap() override { std::remove(name.c_str()); }

  void Write(Bytes const& bytes) const {
    std::ofstream(name, std::ios::binary).write(reinterpret_cast<char const*>(bytes.data()), std::ssize(bytes));
  }
  Bytes Content() const {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  // The answer, then the out arguments, which are -1 to -4 before the call.
  std::vector<int> Read(unsigned char* buffer, char const* from = nullptr) const {
    int cx = -1, cy = -2, stride = -3, bitsPerPixel = -4;
    int const answer = ReadBitmapFile(from ? from : name.c_str(), cx, cy, stride, bitsPerPixel, buffer);
    return {answer, cx, cy, stride, bitsPerPixel};
  }

  std::string const name = testing::TempDir() + "fourtap-" + std::to_string(getpid()) + ".bmp";
  std::vector<int> const refused{0, -1, -2, -3, -4};
};

TEST_F(Bitmap, WritesExactBytesAndReadsThemBack) {
  struct {
    int cx, cy, bitsPerPixel, lineBytes;
  } const cases[] = {{3, 2, 24, 12}, {5, 1, 16, 12}, {1, 3, 32, 4},  {5, 4, 8, 8},  {4, 2, 8, 4},
                     {2, 5, 24, 8},  {1, 1, 24, 4},  {6, 3, 16, 12}, {7, 0, 24, 24}};
  for (auto const& [cx, cy, bitsPerPixel, lineBytes] : cases) {
    SCOPED_TRACE(testing::Message() << cx << 'x' << cy << " at " << bitsPerPixel);
    for (int const stride : {lineBytes, lineBytes + 5}) {
      auto const imageSize = static_cast<size_t>(lineBytes * cy);
      // Padding is the caller's bytes like any other.
      Bytes const picture = Numbered(imageSize, 7);
      GuardedImage const image(lineBytes, cy, stride);
      image.CopyFrom(picture.data());
      image.Allow(conformance::Access::read);
      ASSERT_EQ(WriteBitmapFile(name.c_str(), cx, cy, stride, bitsPerPixel, image.Top()), 1);

      Bytes want = Headers(cx, cy, bitsPerPixel, bitsPerPixel == 16 ? 66 : 54, static_cast<unsigned>(imageSize));
      if (bitsPerPixel == 16) Append(want, {{4, 0xF800}, {4, 0x07E0}, {4, 0x001F}});
      for (int y = cy - 1; y >= 0; --y) {
        want.insert(want.end(), picture.begin() + y * lineBytes, picture.begin() + (y + 1) * lineBytes);
      }
      EXPECT_EQ(Content(), want);

      std::vector<int> const geometry{1, cx, cy, lineBytes, bitsPerPixel};
      EXPECT_EQ(Read(nullptr), geometry);
      GuardedImage const back(lineBytes, cy, lineBytes);
      EXPECT_EQ(Read(back.Top()), geometry);
      EXPECT_EQ(back.Copy(), picture);
    }
  }
}

TEST_F(Bitmap, FilesWithoutWholeHeadersAreRefused) {
  Bytes const whole = Headers(4, 1, 24, 54, 12);
  for (size_t size = 0; size <= 60; ++size) {
    Bytes file = whole;
    file.resize(size);
    Write(file);
    EXPECT_EQ(Read(nullptr), size < 54 ? refused : (std::vector{1, 4, 1, 12, 24})) << size;
  }
}

TEST_F(Bitmap, ATruncatedPictureKeepsTheBuffersBytes) {
  Bytes const pixels = Numbered(3 * 8, 100);
  for (size_t there = 0; there <= pixels.size(); ++there) {
    Bytes file = Headers(2, 3, 24, 54, 24);
    file.insert(file.end(), pixels.begin(), pixels.begin() + static_cast<ptrdiff_t>(there));
    Write(file);
    Bytes buffer(24, 1), want(24, 1);
    for (size_t i = 0; i < there; ++i) want[(2 - i / 8) * 8 + i % 8] = pixels[i];
    EXPECT_EQ(Read(buffer.data()), (std::vector{1, 2, 3, 8, 24}));
    EXPECT_EQ(buffer, want) << there;
  }
}

TEST_F(Bitmap, LinesAreTakenFromTheStoredOffset) {
  Bytes file = Headers(1, 2, 32, 54 + 84, 8);
  file[14] = 124;
  file.resize(54 + 84, 0xee);
  Bytes const lines = Numbered(8, 1);
  file.insert(file.end(), lines.begin(), lines.end());
  Write(file);
  Bytes buffer(8);
  EXPECT_EQ(Read(buffer.data()), (std::vector{1, 1, 2, 4, 32}));
  EXPECT_EQ(buffer, (Bytes{5, 6, 7, 8, 1, 2, 3, 4}));
}

TEST_F(Bitmap, OddFieldsAreReportedAsTheyAre) {
  Write(Headers(3, -2, 24, 54, 24));
  EXPECT_EQ(Read(GuardedImage(0, 0, 0).Top()), (std::vector{1, 3, -2, 12, 24}));
  Write(Headers(3, 1, 8, 54, 12, 3));
  EXPECT_EQ(Read(nullptr), (std::vector{1, 3, 1, 12, 8}));
  // Lines without bytes, and with fewer than none: nothing is read.
  for (int const cx : {0, -4}) {
    Bytes file = Headers(cx, 2, 24, 54, 24);
    file.resize(file.size() + 24, 1);
    Write(file);
    EXPECT_EQ(Read(GuardedImage(0, 0, 0).Top()), (std::vector{1, cx, 2, 3 * cx, 24}));
  }
}

TEST_F(Bitmap, AMissingDirectoryGivesZero) {
  std::string const nowhere = name + "/there/is.bmp";
  EXPECT_EQ(Read(nullptr, nowhere.c_str()), refused);
  unsigned char pixel[4] = {};
  EXPECT_EQ(WriteBitmapFile(nowhere.c_str(), 1, 1, 4, 32, pixel), 0);
}

}  // namespace
