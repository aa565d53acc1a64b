#include "Graphics/Bitmap.h"
#include "LogCapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include <unistd.h>

using namespace Graphics;
namespace fs = std::filesystem;

namespace {

typedef std::vector<unsigned char> Bytes;

// ------------------------------------------------------------ helpers ----

// A fresh directory per test, removed afterwards.
class BitmapFile : public ::testing::Test {
protected:
    void SetUp() override {
        static std::atomic<int> counter(0);
        dir = fs::temp_directory_path() /
              ("graphics_bitmapfile_" + std::to_string(::getpid()) + "_" + std::to_string(counter++));
        fs::remove_all(dir);
        fs::create_directories(dir);
    }
    void TearDown() override {
        std::error_code ignored;
        fs::remove_all(dir, ignored);
    }
    std::wstring Path(const std::string& name) const { return (dir / name).wstring(); }
    fs::path FsPath(const std::string& name) const { return dir / name; }

    fs::path dir;
};

void WriteBytes(const fs::path& path, const Bytes& bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

Bytes ReadBytes(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A bitmap holding the given memory bytes (four a pixel), tightly packed.
std::shared_ptr<Bitmap> MakeBitmap(int width, int height, const Bytes& pixels, float dpiX = 96.0f, float dpiY = 96.0f,
                                   PixelFormat::Enum format = PixelFormat::ARGB8) {
    std::shared_ptr<Bitmap> bitmap(new Bitmap(Size<int>(width, height), format, dpiX, dpiY));
    bitmap->CopyFromMemory(nullptr, pixels.data(), width * 4, width * 4);
    return bitmap;
}

Bytes Pixels(Bitmap& bitmap) {
    Size<int> size = bitmap.GetSize();
    Bytes out(static_cast<size_t>(size.width) * size.height * 4, 0xEE);
    bitmap.CopyToMemory(nullptr, out.data(), size.width * 4, size.width * 4);
    return out;
}

// A picture with translucent pixels, in memory order blue, green, red,
// alpha, premultiplied as the saver takes it. The last pixel has colours
// above its alpha (not valid premultiplied data).
const Bytes kPremultiplied = {
    0x40, 0x20, 0x10, 0x80,  // half alpha
    10,   200,  30,   255,   // opaque
    0,    0,    0,    0,     // clear
    0x33, 0x66, 0x99, 0xCC,  // alpha 204
    1,    0,    1,    1,     // alpha 1
    200,  100,  50,   100,   // colours beyond alpha
};
// What comes back from a lossless file: each colour c of alpha a becomes
// (c * 255 + a / 2) / a, at most 255, in the file; loading keeps it.
//   64 * 255 + 64 = 16384, / 128 = 128;  32 -> 8224 / 128 = 64;  16 -> 4144 / 128 = 32
//   51 * 255 + 102 = 13107, / 204 = 64; 102 -> 26112 / 204 = 128; 153 -> 39117 / 204 = 191
//   1 of alpha 1 -> 255
//   200 -> 51050 / 100 = 510 -> 255; 100 -> 25550 / 100 = 255; 50 -> 12800 / 100 = 128
const Bytes kStraight = {
    128, 64,  32,  128,  //
    10,  200, 30,  255,  //
    0,   0,   0,   0,    //
    64,  128, 191, 204,  //
    255, 0,   255, 1,    //
    255, 255, 128, 100,  //
};

// ---------------------------------------------------- hand-made files ----

uint32_t Crc32(const unsigned char* data, size_t size, uint32_t crc) {
    crc = ~crc;
    for (size_t i = 0; i < size; ++i) {
        crc ^= data[i];
        for (int k = 0; k < 8; ++k) crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

void PutBE32(Bytes& out, uint32_t v) {
    out.push_back(static_cast<unsigned char>(v >> 24));
    out.push_back(static_cast<unsigned char>(v >> 16));
    out.push_back(static_cast<unsigned char>(v >> 8));
    out.push_back(static_cast<unsigned char>(v));
}
void PutLE16(Bytes& out, uint32_t v) {
    out.push_back(static_cast<unsigned char>(v));
    out.push_back(static_cast<unsigned char>(v >> 8));
}
void PutLE32(Bytes& out, uint32_t v) {
    PutLE16(out, v & 0xFFFF);
    PutLE16(out, v >> 16);
}

void PutChunk(Bytes& png, const char* type, const Bytes& data) {
    PutBE32(png, static_cast<uint32_t>(data.size()));
    Bytes body(type, type + 4);
    body.insert(body.end(), data.begin(), data.end());
    png.insert(png.end(), body.begin(), body.end());
    PutBE32(png, Crc32(body.data(), body.size(), 0));
}

// A PNG with stored (uncompressed) deflate blocks, filter 0 on every row.
// rows holds the packed samples of each row, without the filter byte.
Bytes MakePng(uint32_t width, uint32_t height, int bitDepth, int colorType, const std::vector<Bytes>& rows,
              const Bytes& palette = Bytes(), const Bytes& transparency = Bytes(), bool withPhys = false,
              uint32_t ppm = 0) {
    Bytes png = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
    Bytes ihdr;
    PutBE32(ihdr, width);
    PutBE32(ihdr, height);
    ihdr.insert(ihdr.end(), {static_cast<unsigned char>(bitDepth), static_cast<unsigned char>(colorType), 0, 0, 0});
    PutChunk(png, "IHDR", ihdr);
    if (withPhys) {
        Bytes phys;
        PutBE32(phys, ppm);
        PutBE32(phys, ppm);
        phys.push_back(1);
        PutChunk(png, "pHYs", phys);
    }
    if (!palette.empty()) PutChunk(png, "PLTE", palette);
    if (!transparency.empty()) PutChunk(png, "tRNS", transparency);
    Bytes raw;
    for (const Bytes& row : rows) {
        raw.push_back(0);
        raw.insert(raw.end(), row.begin(), row.end());
    }
    Bytes z = {0x78, 0x01, 0x01};  // one final stored block
    PutLE16(z, static_cast<uint32_t>(raw.size()));
    PutLE16(z, static_cast<uint32_t>(~raw.size() & 0xFFFF));
    z.insert(z.end(), raw.begin(), raw.end());
    uint32_t a = 1, b = 0;
    for (unsigned char c : raw) {
        a = (a + c) % 65521;
        b = (b + a) % 65521;
    }
    PutBE32(z, (b << 16) | a);
    PutChunk(png, "IDAT", z);
    PutChunk(png, "IEND", Bytes());
    return png;
}

// An uncompressed bottom-up BMP with a 40-byte header. rows holds the
// packed pixels of each row from the top, without padding.
Bytes MakeBmp(int width, int height, int bitsPerPixel, const std::vector<Bytes>& rows, const Bytes& palette = Bytes(),
              int32_t ppm = 0) {
    int rowBytes = (width * bitsPerPixel + 31) / 32 * 4;
    uint32_t offset = 14 + 40 + static_cast<uint32_t>(palette.size());
    Bytes bmp = {'B', 'M'};
    PutLE32(bmp, offset + rowBytes * height);
    PutLE32(bmp, 0);
    PutLE32(bmp, offset);
    PutLE32(bmp, 40);
    PutLE32(bmp, static_cast<uint32_t>(width));
    PutLE32(bmp, static_cast<uint32_t>(height));
    PutLE16(bmp, 1);
    PutLE16(bmp, static_cast<uint32_t>(bitsPerPixel));
    PutLE32(bmp, 0);
    PutLE32(bmp, static_cast<uint32_t>(rowBytes * height));
    PutLE32(bmp, static_cast<uint32_t>(ppm));
    PutLE32(bmp, static_cast<uint32_t>(ppm));
    PutLE32(bmp, static_cast<uint32_t>(palette.size() / 4));
    PutLE32(bmp, 0);
    bmp.insert(bmp.end(), palette.begin(), palette.end());
    for (int y = height - 1; y >= 0; --y) {
        Bytes row = rows[y];
        row.resize(rowBytes, 0);
        bmp.insert(bmp.end(), row.begin(), row.end());
    }
    return bmp;
}

// A little-endian TIFF of one strip. Each entry is a tag, a type (3 SHORT,
// 4 LONG, 5 RATIONAL) and its values; StripOffsets and StripByteCounts are
// added. Entries must come in ascending tag order around 273 and 279.
struct TiffEntry {
    uint16_t tag;
    uint16_t type;
    std::vector<uint32_t> values;  // RATIONAL: numerator, denominator pairs
};

Bytes MakeTiff(std::vector<TiffEntry> entries, const Bytes& strip) {
    entries.push_back({273, 4, {8}});
    entries.push_back({279, 4, {static_cast<uint32_t>(strip.size())}});
    std::sort(entries.begin(), entries.end(), [](const TiffEntry& a, const TiffEntry& b) { return a.tag < b.tag; });
    uint32_t ifdOffset = 8 + static_cast<uint32_t>(strip.size() + (strip.size() & 1));
    uint32_t extraOffset = ifdOffset + 2 + 12 * static_cast<uint32_t>(entries.size()) + 4;
    Bytes tiff = {'I', 'I', 42, 0};
    PutLE32(tiff, ifdOffset);
    tiff.insert(tiff.end(), strip.begin(), strip.end());
    if (strip.size() & 1) tiff.push_back(0);
    Bytes extra;
    PutLE16(tiff, static_cast<uint32_t>(entries.size()));
    for (const TiffEntry& e : entries) {
        PutLE16(tiff, e.tag);
        PutLE16(tiff, e.type);
        uint32_t count = static_cast<uint32_t>(e.type == 5 ? e.values.size() / 2 : e.values.size());
        PutLE32(tiff, count);
        size_t bytes = e.type == 3 ? 2 * e.values.size() : 4 * e.values.size();
        Bytes value;
        for (uint32_t v : e.values) {
            if (e.type == 3) PutLE16(value, v);
            else PutLE32(value, v);
        }
        if (bytes <= 4) {
            value.resize(4, 0);
            tiff.insert(tiff.end(), value.begin(), value.end());
        } else {
            PutLE32(tiff, extraOffset + static_cast<uint32_t>(extra.size()));
            extra.insert(extra.end(), value.begin(), value.end());
        }
    }
    PutLE32(tiff, 0);
    tiff.insert(tiff.end(), extra.begin(), extra.end());
    return tiff;
}

// Noise, so that compressed files have a body worth cutting.
Bytes NoisePixels(int width, int height) {
    std::mt19937 random(7);
    Bytes pixels(static_cast<size_t>(width) * height * 4);
    for (size_t i = 0; i < pixels.size(); i += 4) {
        unsigned char a = static_cast<unsigned char>(random() & 0xFF);
        for (int k = 0; k < 3; ++k) pixels[i + k] = static_cast<unsigned char>(random() % (a + 1u));
        pixels[i + 3] = a;
    }
    return pixels;
}

}  // namespace

// ----------------------------------------------------------------- tests --

TEST(BitmapFileType, GetTypeFromFilename) {
    EXPECT_EQ(GetTypeFromFilename(L"a.jpg"), L"jpeg");
    EXPECT_EQ(GetTypeFromFilename(L"a.tif"), L"tiff");
    EXPECT_EQ(GetTypeFromFilename(L"a.png"), L"png");
    EXPECT_EQ(GetTypeFromFilename(L"a.JPG"), L"JPG");  // case-sensitive
    EXPECT_EQ(GetTypeFromFilename(L"a.TIF"), L"TIF");
    EXPECT_EQ(GetTypeFromFilename(L"noext"), L"noext");
    EXPECT_EQ(GetTypeFromFilename(L"a.b.bmp"), L"bmp");
    EXPECT_EQ(GetTypeFromFilename(L"a.jpeg"), L"jpeg");
    EXPECT_EQ(GetTypeFromFilename(L"a."), L"");
    EXPECT_EQ(GetTypeFromFilename(L"dir.d/file"), L"d/file");  // no notion of folders
    EXPECT_EQ(GetTypeFromFilename(L""), L"");
}

TEST_F(BitmapFile, LosslessRoundTripsUnpremultiply) {
    for (const char* name : {"pic.png", "pic.tiff", "pic.bmp", "pic.tif"}) {
        SCOPED_TRACE(name);
        std::shared_ptr<Bitmap> original = MakeBitmap(3, 2, kPremultiplied);
        original->SaveToFile(Path(name));
        std::shared_ptr<Bitmap> loaded = Bitmap::LoadFromFile(Path(name));
        ASSERT_TRUE(loaded);
        EXPECT_EQ(loaded->GetPixelFormat(), PixelFormat::ARGB8);
        EXPECT_EQ(loaded->GetSize(), Size<int>(3, 2));
        EXPECT_EQ(Pixels(*loaded), kStraight);
        // The saved bitmap is left as it was.
        EXPECT_EQ(Pixels(*original), kPremultiplied);
    }
}

TEST_F(BitmapFile, FileKindComesFromContentNotName) {
    MakeBitmap(3, 2, kPremultiplied)->SaveToFile(Path("really_a_png.bmp"), L"png");
    Bytes file = ReadBytes(FsPath("really_a_png.bmp"));
    ASSERT_GE(file.size(), 8u);
    EXPECT_EQ(file[1], 'P');
    EXPECT_EQ(Pixels(*Bitmap::LoadFromFile(Path("really_a_png.bmp"))), kStraight);
}

TEST_F(BitmapFile, JpegRoundTripDropsAlphaKeepsPremultipliedColours) {
    // Left half opaque, right half the half-alpha pixel: JPEG keeps the
    // premultiplied colours (as if laid on black) and loads opaque.
    const int w = 16, h = 16;
    Bytes pixels(w * h * 4);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            unsigned char* p = &pixels[(y * w + x) * 4];
            if (x < 8) {
                p[0] = 40, p[1] = 80, p[2] = 160, p[3] = 255;
            } else {
                p[0] = 0x40, p[1] = 0x20, p[2] = 0x10, p[3] = 0x80;
            }
        }
    }
    MakeBitmap(w, h, pixels)->SaveToFile(Path("pic.jpg"));
    Bytes file = ReadBytes(FsPath("pic.jpg"));
    ASSERT_GE(file.size(), 3u);
    EXPECT_EQ(file[0], 0xFF);
    EXPECT_EQ(file[1], 0xD8);

    std::shared_ptr<Bitmap> loaded = Bitmap::LoadFromFile(Path("pic.jpg"));
    EXPECT_EQ(loaded->GetPixelFormat(), PixelFormat::ARGB8);
    ASSERT_EQ(loaded->GetSize(), Size<int>(w, h));
    Bytes back = Pixels(*loaded);
    for (int y = 0; y < h; ++y) {
        for (int x : {0, 1, 2, 3, 12, 13, 14, 15}) {
            const unsigned char* p = &back[(y * w + x) * 4];
            int expected[3] = {x < 8 ? 40 : 0x40, x < 8 ? 80 : 0x20, x < 8 ? 160 : 0x10};
            for (int k = 0; k < 3; ++k) EXPECT_NEAR(p[k], expected[k], 6) << x << "," << y << " channel " << k;
            EXPECT_EQ(p[3], 255);
        }
    }
}

TEST_F(BitmapFile, ResolutionRoundTripsAndDefaults) {
    // TIFF stores the resolution as a rational and JPEG as whole dots per
    // inch: both exact here. PNG and BMP store pixels per metre, rounded:
    // 150 / 0.0254 -> 5906 -> 150.0124; 300 / 0.0254 -> 11811 -> 299.9994.
    struct Case {
        const char* name;
        float tolerance;
    } cases[] = {{"dpi.tiff", 0.0f}, {"dpi.jpeg", 0.0f}, {"dpi.png", 0.02f}, {"dpi.bmp", 0.02f}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        MakeBitmap(3, 2, kPremultiplied, 150.0f, 300.0f)->SaveToFile(Path(c.name));
        std::shared_ptr<Bitmap> loaded = Bitmap::LoadFromFile(Path(c.name));
        EXPECT_NEAR(loaded->GetDpiX(), 150.0f, c.tolerance);
        EXPECT_NEAR(loaded->GetDpiY(), 300.0f, c.tolerance);
        if (c.tolerance > 0.0f) {
            EXPECT_NE(loaded->GetDpiX(), 150.0f);  // ppm * 0.0254, not rounded back
        }
    }

    // A bitmap without a usable resolution writes none; loading gives 96.
    for (const char* name : {"none.png", "none.tiff", "none.jpeg", "none.bmp"}) {
        SCOPED_TRACE(name);
        MakeBitmap(3, 2, kPremultiplied, 0.0f, -1.0f)->SaveToFile(Path(name));
        std::shared_ptr<Bitmap> loaded = Bitmap::LoadFromFile(Path(name));
        EXPECT_EQ(loaded->GetDpiX(), 96.0f);
        EXPECT_EQ(loaded->GetDpiY(), 96.0f);
    }

    // Hand-made files: a PNG without pHYs, one with 3780 pixels per metre
    // (96.012), a BMP with 2835 (72.009), a TIFF in pixels per centimetre.
    WriteBytes(FsPath("plain.png"), MakePng(1, 1, 8, 0, {{0x10}}));
    std::shared_ptr<Bitmap> plain = Bitmap::LoadFromFile(Path("plain.png"));
    EXPECT_EQ(plain->GetDpiX(), 96.0f);
    EXPECT_EQ(plain->GetDpiY(), 96.0f);

    WriteBytes(FsPath("phys.png"), MakePng(1, 1, 8, 0, {{0x10}}, Bytes(), Bytes(), true, 3780));
    EXPECT_FLOAT_EQ(Bitmap::LoadFromFile(Path("phys.png"))->GetDpiX(), static_cast<float>(3780 * 0.0254));

    WriteBytes(FsPath("ppm.bmp"), MakeBmp(1, 1, 24, {{1, 2, 3}}, Bytes(), 2835));
    EXPECT_FLOAT_EQ(Bitmap::LoadFromFile(Path("ppm.bmp"))->GetDpiY(), static_cast<float>(2835 * 0.0254));

    WriteBytes(FsPath("cm.tif"), MakeTiff({{256, 3, {1}},
                                           {257, 3, {1}},
                                           {258, 3, {8}},
                                           {259, 3, {1}},
                                           {262, 3, {1}},
                                           {278, 3, {1}},
                                           {282, 5, {100, 1}},
                                           {283, 5, {50, 1}},
                                           {296, 3, {3}}},
                                          {0x80}));
    std::shared_ptr<Bitmap> cm = Bitmap::LoadFromFile(Path("cm.tif"));
    EXPECT_FLOAT_EQ(cm->GetDpiX(), 254.0f);
    EXPECT_FLOAT_EQ(cm->GetDpiY(), 127.0f);
}

TEST_F(BitmapFile, DecodersExpandToEightBitRgba) {
    struct Case {
        const char* name;
        Bytes file;
        Bytes expected;  // memory order blue, green, red, alpha
    } cases[] = {
        {"gray.png", MakePng(2, 1, 8, 0, {{0x10, 0xF0}}), {0x10, 0x10, 0x10, 255, 0xF0, 0xF0, 0xF0, 255}},
        {"gray1.png", MakePng(3, 1, 1, 0, {{0xA0}}), {255, 255, 255, 255, 0, 0, 0, 255, 255, 255, 255, 255}},
        {"grayalpha.png", MakePng(1, 1, 8, 4, {{0x80, 0x40}}), {0x80, 0x80, 0x80, 0x40}},
        {"rgb16.png", MakePng(1, 1, 16, 2, {{0xFF, 0xFF, 0x80, 0x00, 0x00, 0x00}}), {0, 128, 255, 255}},
        {"palette.png",
         MakePng(2, 1, 8, 3, {{0, 1}}, {255, 0, 0, 0, 0, 255}, {0x80}),
         {0, 0, 255, 0x80, 255, 0, 0, 255}},
        {"rgb.png", MakePng(1, 2, 8, 2, {{1, 2, 3}, {4, 5, 6}}), {3, 2, 1, 255, 6, 5, 4, 255}},
        // BMP rows are stored bottom-up; they come back top-down.
        {"rgb.bmp", MakeBmp(2, 2, 24, {{1, 2, 3, 4, 5, 6}, {7, 8, 9, 10, 11, 12}}),
         {1, 2, 3, 255, 4, 5, 6, 255, 7, 8, 9, 255, 10, 11, 12, 255}},
        {"palette.bmp", MakeBmp(3, 1, 8, {{1, 0, 1}}, {10, 20, 30, 0, 40, 50, 60, 0}),
         {40, 50, 60, 255, 10, 20, 30, 255, 40, 50, 60, 255}},
        // Minimum-is-white gray, one strip.
        {"white.tif",
         MakeTiff({{256, 3, {2}}, {257, 3, {1}}, {258, 3, {8}}, {259, 3, {1}}, {262, 3, {0}}, {278, 3, {1}}},
                  {0x00, 0xF0}),
         {255, 255, 255, 255, 0x0F, 0x0F, 0x0F, 255}},
        // RGBA with associated alpha: unpremultiplied on load.
        {"assoc.tif",
         MakeTiff({{256, 3, {1}},
                   {257, 3, {1}},
                   {258, 3, {8, 8, 8, 8}},
                   {259, 3, {1}},
                   {262, 3, {2}},
                   {277, 3, {4}},
                   {278, 3, {1}},
                   {338, 3, {1}}},
                  {0x10, 0x20, 0x40, 0x80}),
         {128, 64, 32, 128}},
        // The same with unassociated alpha: taken as it stands.
        {"unassoc.tif",
         MakeTiff({{256, 3, {1}},
                   {257, 3, {1}},
                   {258, 3, {8, 8, 8, 8}},
                   {259, 3, {1}},
                   {262, 3, {2}},
                   {277, 3, {4}},
                   {278, 3, {1}},
                   {338, 3, {2}}},
                  {0x10, 0x20, 0x40, 0x80}),
         {0x40, 0x20, 0x10, 0x80}},
        // Bilevel goes through libtiff's RGBA reader.
        {"bilevel.tif",
         MakeTiff({{256, 3, {3}}, {257, 3, {1}}, {258, 3, {1}}, {259, 3, {1}}, {262, 3, {1}}, {278, 3, {1}}}, {0x40}),
         {0, 0, 0, 255, 255, 255, 255, 255, 0, 0, 0, 255}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        WriteBytes(FsPath(c.name), c.file);
        std::shared_ptr<Bitmap> loaded = Bitmap::LoadFromFile(Path(c.name));
        EXPECT_EQ(loaded->GetPixelFormat(), PixelFormat::ARGB8);
        EXPECT_EQ(Pixels(*loaded), c.expected);
    }
}

TEST_F(BitmapFile, TypeIsLowerCasedAfterTheShortSpellingsAreMapped) {
    std::shared_ptr<Bitmap> bitmap = MakeBitmap(3, 2, kPremultiplied);
    bitmap->SaveToFile(Path("upper.png"), L"PNG");
    EXPECT_EQ(Pixels(*Bitmap::LoadFromFile(Path("upper.png"))), kStraight);
    bitmap->SaveToFile(Path("upper.tif"), L"TIFF");
    EXPECT_EQ(Pixels(*Bitmap::LoadFromFile(Path("upper.tif"))), kStraight);
    bitmap->SaveToFile(Path("upper.jpg"), L"JpEg");
    EXPECT_EQ(ReadBytes(FsPath("upper.jpg"))[0], 0xFF);

    // "JPG" is lower-cased to "jpg" after GetTypeFromFilename left it alone,
    // and "jpg" names no encoder.
    EXPECT_GRAPHICS_FAILURE(bitmap->SaveToFile(Path("x.JPG")), "SaveBitmapToFile", "Failed to save image");
    EXPECT_FALSE(fs::exists(FsPath("x.JPG")));
    EXPECT_GRAPHICS_FAILURE(bitmap->SaveToFile(Path("x.gif")), "SaveBitmapToFile", "Failed to save image");
    EXPECT_GRAPHICS_FAILURE(bitmap->SaveToFile(Path("x.png"), L"jpg"), "SaveBitmapToFile", "Failed to save image");
    EXPECT_GRAPHICS_FAILURE(bitmap->SaveToFile(Path("noext")), "SaveBitmapToFile", "Failed to save image");
    EXPECT_FALSE(fs::exists(FsPath("noext")));
    // The caller may name the type.
    bitmap->SaveToFile(Path("x.JPG"), L"jpeg");
    EXPECT_TRUE(fs::exists(FsPath("x.JPG")));
}

TEST_F(BitmapFile, SaveFailures) {
    std::shared_ptr<Bitmap> bitmap = MakeBitmap(3, 2, kPremultiplied);
    // No folder to write into.
    EXPECT_GRAPHICS_FAILURE(bitmap->SaveToFile(Path("missing/x.png")), "SaveBitmapToFile", "Failed to save image");
    EXPECT_GRAPHICS_FAILURE(bitmap->SaveToFile(Path("missing/x.tiff")), "SaveBitmapToFile", "Failed to save image");
    // A folder in the way.
    fs::create_directories(FsPath("taken.bmp"));
    EXPECT_GRAPHICS_FAILURE(bitmap->SaveToFile(Path("taken.bmp")), "SaveBitmapToFile", "Failed to save image");

    EXPECT_GRAPHICS_FAILURE(bitmap->SaveToFile(L""), "_UrlFromFilename", "Failed create CFURLRef from std::string");
    EXPECT_GRAPHICS_FAILURE(bitmap->SaveToFile(L"", L"png"), "_UrlFromFilename",
                            "Failed create CFURLRef from std::string");

    // Rows narrower than four bytes a pixel can't be described as 32-bit
    // words: a 10-pixel RGB8 row is 32 bytes, not 40.
    std::shared_ptr<Bitmap> rgb(new Bitmap(Size<int>(10, 2), PixelFormat::RGB8, 96.0f, 96.0f));
    EXPECT_GRAPHICS_FAILURE(rgb->SaveToFile(Path("rgb.png")), "SaveBitmapToFile", "Failed to save image");
    EXPECT_FALSE(fs::exists(FsPath("rgb.png")));
    std::shared_ptr<Bitmap> empty(new Bitmap(Size<int>(0, 0), PixelFormat::ARGB8, 96.0f, 96.0f));
    EXPECT_GRAPHICS_FAILURE(empty->SaveToFile(Path("empty.png")), "SaveBitmapToFile", "Failed to save image");
}

TEST_F(BitmapFile, SaveReleasesCachesOnlyAfterAWriteLock) {
    struct Marker : CacheBase {};
    const unsigned int token = CacheHolder::GenerateUniqueToken();
    std::shared_ptr<Bitmap> bitmap = MakeBitmap(3, 2, kPremultiplied);

    // No lock yet: the recorded mode is Read.
    bitmap->SetCache(token, std::make_shared<Marker>());
    bitmap->SaveToFile(Path("a.png"));
    EXPECT_TRUE(bitmap->GetCache(token));

    for (LockMode::Enum mode : {LockMode::Read, LockMode::ReadWrite, LockMode::Write}) {
        bitmap->Lock(nullptr, mode);
        bitmap->Unlock();
        bitmap->SetCache(token, std::make_shared<Marker>());
        bitmap->SaveToFile(Path("a.png"));
        EXPECT_EQ(!bitmap->GetCache(token), mode == LockMode::Write) << mode;
        // The save locks the implementation, not the Bitmap: the recorded
        // mode is still the caller's.
        EXPECT_EQ(bitmap->GetLastLockMode(), mode);
    }
}

TEST_F(BitmapFile, UnicodeNames) {
    const std::wstring name = dir.wstring() + L"/bild_\u00E4\u20AC\U0001F600.png";
    MakeBitmap(3, 2, kPremultiplied)->SaveToFile(name);
    EXPECT_TRUE(fs::exists(FsPath("bild_\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80.png")));
    EXPECT_EQ(Pixels(*Bitmap::LoadFromFile(name)), kStraight);
}

TEST_F(BitmapFile, LoadFailuresBeforeDecoding) {
    const char* const kSource = "CreateCGImageSourceFromPath";
    const char* const kMessage = "Failed to create CGImageSourceRef";
    EXPECT_GRAPHICS_FAILURE(Bitmap::LoadFromFile(L""), "_UrlFromFilename", "Failed create CFURLRef from std::string");
    EXPECT_GRAPHICS_FAILURE(Bitmap::LoadFromFile(Path("missing.png")), kSource, kMessage);
    EXPECT_GRAPHICS_FAILURE(Bitmap::LoadFromFile(dir.wstring()), kSource, kMessage);
    // Empty files and files no decoder recognises, whatever their names.
    for (const char* name : {"empty.png", "empty.jpg", "empty.tif", "empty.bmp"}) {
        WriteBytes(FsPath(name), Bytes());
        EXPECT_GRAPHICS_FAILURE(Bitmap::LoadFromFile(Path(name)), kSource, kMessage);
    }
    const std::string text = "not an image at all";
    for (const char* name : {"text.png", "text.jpg", "text.tif", "text.bmp"}) {
        WriteBytes(FsPath(name), Bytes(text.begin(), text.end()));
        EXPECT_GRAPHICS_FAILURE(Bitmap::LoadFromFile(Path(name)), kSource, kMessage);
    }
    // Too short for a signature.
    WriteBytes(FsPath("short.png"), {0x89, 'P', 'N', 'G'});
    EXPECT_GRAPHICS_FAILURE(Bitmap::LoadFromFile(Path("short.png")), kSource, kMessage);
}

TEST_F(BitmapFile, TruncatedAndCorruptFilesFailToDecode) {
    const char* const kDecode = "LoadBitmapFromFile";
    const char* const kMessage = "Failed to create CGImageRef from CGImageSourceRef";
    std::shared_ptr<Bitmap> noise = MakeBitmap(24, 24, NoisePixels(24, 24));
    for (const char* name : {"n.png", "n.jpeg", "n.tiff", "n.bmp"}) {
        SCOPED_TRACE(name);
        noise->SaveToFile(Path(name));
        Bytes whole = ReadBytes(FsPath(name));
        ASSERT_GT(whole.size(), 64u);
        Bitmap::LoadFromFile(Path(name));  // the whole file is fine

        for (size_t keep : {whole.size() * 6 / 10, whole.size() / 2, size_t(12), size_t(8)}) {
            WriteBytes(FsPath("cut"), Bytes(whole.begin(), whole.begin() + keep));
            EXPECT_GRAPHICS_FAILURE(Bitmap::LoadFromFile(Path("cut")), kDecode, kMessage);
        }
        // The signature, then garbage.
        Bytes garbage(whole.begin(), whole.begin() + 8);
        for (int i = 0; i < 200; ++i) garbage.push_back(static_cast<unsigned char>(i * 37 + 11));
        WriteBytes(FsPath("garbage"), garbage);
        EXPECT_GRAPHICS_FAILURE(Bitmap::LoadFromFile(Path("garbage")), kDecode, kMessage);
    }

    // A flipped byte in a PNG's image data breaks its checksum.
    Bytes png = ReadBytes(FsPath("n.png"));
    png[png.size() - 30] ^= 0x55;
    WriteBytes(FsPath("crc.png"), png);
    EXPECT_GRAPHICS_FAILURE(Bitmap::LoadFromFile(Path("crc.png")), kDecode, kMessage);

    // A JPEG whose entropy data runs into a marker halfway.
    Bytes jpeg = ReadBytes(FsPath("n.jpeg"));
    size_t scan = 0;
    for (size_t i = 0; i + 1 < jpeg.size(); ++i) {
        if (jpeg[i] == 0xFF && jpeg[i + 1] == 0xDA) scan = i;
    }
    ASSERT_GT(scan, 0u);
    size_t middle = (scan + jpeg.size()) / 2;
    jpeg[middle] = 0xFF, jpeg[middle + 1] = 0xD9;
    WriteBytes(FsPath("marker.jpeg"), jpeg);
    EXPECT_GRAPHICS_FAILURE(Bitmap::LoadFromFile(Path("marker.jpeg")), kDecode, kMessage);

    // Headers that claim absurd sizes.
    WriteBytes(FsPath("huge.png"), MakePng(30000, 30000, 8, 6, {{0}}));
    EXPECT_GRAPHICS_FAILURE(Bitmap::LoadFromFile(Path("huge.png")), kDecode, kMessage);
    WriteBytes(FsPath("zero.png"), MakePng(0, 1, 8, 6, {{0}}));
    EXPECT_GRAPHICS_FAILURE(Bitmap::LoadFromFile(Path("zero.png")), kDecode, kMessage);
    Bytes bmp = MakeBmp(1, 1, 24, {{1, 2, 3}});
    bmp[18] = 0xFF, bmp[19] = 0xFF, bmp[20] = 0xFF, bmp[21] = 0x7F;  // width 2^31 - 1
    WriteBytes(FsPath("wide.bmp"), bmp);
    EXPECT_GRAPHICS_FAILURE(Bitmap::LoadFromFile(Path("wide.bmp")), kDecode, kMessage);
    WriteBytes(FsPath("huge.tif"), MakeTiff({{256, 4, {100000}},
                                             {257, 4, {100000}},
                                             {258, 3, {8}},
                                             {259, 3, {1}},
                                             {262, 3, {1}},
                                             {278, 3, {1}}},
                                            {0}));
    EXPECT_GRAPHICS_FAILURE(Bitmap::LoadFromFile(Path("huge.tif")), kDecode, kMessage);

    // A palette BMP whose pixels point past its two colours.
    WriteBytes(FsPath("index.bmp"), MakeBmp(2, 1, 8, {{1, 2}}, {10, 20, 30, 0, 40, 50, 60, 0}));
    EXPECT_GRAPHICS_FAILURE(Bitmap::LoadFromFile(Path("index.bmp")), kDecode, kMessage);
}

TEST(BitmapFileMemory, LoadFromMemoryIsNotImplemented) {
    const unsigned char data[4] = {0x89, 'P', 'N', 'G'};
    EXPECT_GRAPHICS_FAILURE(Bitmap::LoadFromMemory(data, sizeof(data)), "LoadFromMemory",
                            "Bitmap::LoadFromMemory - Implement me please");
    EXPECT_GRAPHICS_FAILURE(Bitmap::LoadFromMemory(nullptr, 0), "LoadFromMemory",
                            "Bitmap::LoadFromMemory - Implement me please");
}
