#include "Graphics/Bitmap.h"
#include "LogCapture.h"
#include <gtest/gtest.h>
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>
#include <unistd.h>

using namespace Graphics;
namespace fs = std::filesystem;

namespace {
typedef std::vector<unsigned char> Bytes;

// A fresh directory per test, removed afterwards.
class BitmapFile : public ::testing::Test {
protected:
    void SetUp() override {
        dir = fs::temp_directory_path() / ("graphics_bitmapfile_" + std::to_string(::getpid()) + "_" +
                                           testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::create_directories(dir);
    }
    void TearDown() override { fs::remove_all(dir); }
    std::wstring Path(const std::string& name) const { return (dir / name).wstring(); }
    void Write(const std::string& name, const Bytes& bytes) const {
        std::ofstream(dir / name, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    }
    Bytes Read(const std::string& name) const {
        std::ifstream in(dir / name, std::ios::binary);
        return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    fs::path dir;
};
std::shared_ptr<Bitmap> MakeBitmap(int width, int height, const Bytes& pixels, float dpiX = 96, float dpiY = 96) {
    auto bitmap = std::make_shared<Bitmap>(Size<int>(width, height), PixelFormat::ARGB8, dpiX, dpiY);
    bitmap->CopyFromMemory(nullptr, pixels.data(), width * 4, width * 4);
    return bitmap;
}
Bytes Pixels(Bitmap& bitmap) {
    const Size<int> size = bitmap.GetSize();
    Bytes out(static_cast<size_t>(size.width) * size.height * 4, 0xEE);
    bitmap.CopyToMemory(nullptr, out.data(), size.width * 4, size.width * 4);
    return out;
}
// Premultiplied blue, green, red, alpha; the last has colours above its alpha.
const Bytes kPremultiplied = {0x40, 0x20, 0x10, 0x80, 10, 200, 30, 255, 0, 0,   0, 0,
                              0x33, 0x66, 0x99, 0xCC, 1,  0,   1,  1,   200, 100, 50, 100};
// Stored as (c * 255 + a / 2) / a, at most 255: (64 * 255 + 64) / 128 = 128;
// (51 * 255 + 102) / 204 = 64; 200 of alpha 100 -> 255; 50 -> 12800 / 100 = 128.
const Bytes kStraight = {128, 64,  32,  128, 10,  200, 30, 255, 0,   0,   0,   0,
                         64,  128, 191, 204, 255, 0,   255, 1,  255, 255, 128, 100};

void PutLE(Bytes& out, uint32_t v, int bytes) {
    for (int i = 0; i < bytes; ++i) out.push_back(static_cast<unsigned char>(v >> (8 * i)));
}
void PutBE32(Bytes& out, uint32_t v) {
    for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<unsigned char>(v >> shift));
}
void PutChunk(Bytes& png, const char* type, const Bytes& data) {
    PutBE32(png, static_cast<uint32_t>(data.size()));
    Bytes body(type, type + 4);
    body.insert(body.end(), data.begin(), data.end());
    png.insert(png.end(), body.begin(), body.end());
    uint32_t crc = ~0u;
    for (unsigned char c : body) {
        crc ^= c;
        for (int k = 0; k < 8; ++k) crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    PutBE32(png, ~crc);
}
// A PNG of one stored deflate block, filter 0 on every row of packed samples.
Bytes MakePng(uint32_t width, uint32_t height, int bitDepth, int colorType, const std::vector<Bytes>& rows,
              const Bytes& palette = Bytes(), const Bytes& transparency = Bytes(), uint32_t ppm = 0) {
    Bytes png = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A}, header, raw;
    for (uint32_t v : {width, height}) PutBE32(header, v);
    header.insert(header.end(), {static_cast<unsigned char>(bitDepth), static_cast<unsigned char>(colorType), 0, 0, 0});
    PutChunk(png, "IHDR", header);
    Bytes phys;
    for (uint32_t v : {ppm, ppm}) PutBE32(phys, v);
    phys.push_back(1);
    if (ppm) PutChunk(png, "pHYs", phys);
    if (!palette.empty()) PutChunk(png, "PLTE", palette);
    if (!transparency.empty()) PutChunk(png, "tRNS", transparency);
    for (const Bytes& row : rows) raw.push_back(0), raw.insert(raw.end(), row.begin(), row.end());
    Bytes z = {0x78, 0x01, 0x01};
    PutLE(z, static_cast<uint32_t>(raw.size()), 2);
    PutLE(z, static_cast<uint32_t>(~raw.size()), 2);
    z.insert(z.end(), raw.begin(), raw.end());
    uint32_t a = 1, b = 0;
    for (unsigned char c : raw) a = (a + c) % 65521, b = (b + a) % 65521;
    PutBE32(z, (b << 16) | a);
    PutChunk(png, "IDAT", z);
    PutChunk(png, "IEND", Bytes());
    return png;
}
// An uncompressed bottom-up BMP with a 40-byte header; rows from the top.
Bytes MakeBmp(int width, int height, int bitsPerPixel, const std::vector<Bytes>& rows,
              const Bytes& palette = Bytes(), uint32_t ppm = 0) {
    const uint32_t rowBytes = (width * bitsPerPixel + 31) / 32 * 4, offset = 14 + 40 + uint32_t(palette.size());
    Bytes bmp = {'B', 'M'};
    for (uint32_t v : {offset + rowBytes * height, 0u, offset, 40u, uint32_t(width), uint32_t(height)}) PutLE(bmp, v, 4);
    PutLE(bmp, 1 | bitsPerPixel << 16, 4);
    for (uint32_t v : {0u, rowBytes * height, ppm, ppm, uint32_t(palette.size() / 4), 0u}) PutLE(bmp, v, 4);
    bmp.insert(bmp.end(), palette.begin(), palette.end());
    for (int y = height - 1; y >= 0; --y) {
        bmp.insert(bmp.end(), rows[y].begin(), rows[y].end());
        bmp.resize(bmp.size() + rowBytes - rows[y].size(), 0);
    }
    return bmp;
}
// A little-endian TIFF of one strip; entries are a tag, a type (3 SHORT, 4 LONG,
// 5 RATIONAL as pairs) and values; the strip's offset and byte count are added.
struct TiffEntry {
    uint16_t tag, type;
    std::vector<uint32_t> values;
};
Bytes MakeTiff(std::vector<TiffEntry> entries, const Bytes& strip) {
    entries.insert(entries.end(), {{273, 4, {8}}, {279, 4, {static_cast<uint32_t>(strip.size())}}});
    std::sort(entries.begin(), entries.end(), [](const TiffEntry& a, const TiffEntry& b) { return a.tag < b.tag; });
    const uint32_t ifd = 8 + static_cast<uint32_t>(strip.size() + (strip.size() & 1)),
                   extraOffset = ifd + 2 + 12 * static_cast<uint32_t>(entries.size()) + 4;
    Bytes tiff = {'I', 'I', 42, 0}, extra;
    PutLE(tiff, ifd, 4);
    tiff.insert(tiff.end(), strip.begin(), strip.end());
    if (strip.size() & 1) tiff.push_back(0);
    PutLE(tiff, static_cast<uint32_t>(entries.size()), 2);
    for (const TiffEntry& e : entries) {
        PutLE(tiff, e.tag | e.type << 16, 4);
        PutLE(tiff, static_cast<uint32_t>(e.type == 5 ? e.values.size() / 2 : e.values.size()), 4);
        Bytes value;
        for (uint32_t v : e.values) PutLE(value, v, e.type == 3 ? 2 : 4);
        if (value.size() > 4) PutLE(tiff, extraOffset + static_cast<uint32_t>(extra.size()), 4);
        Bytes& to = value.size() > 4 ? extra : tiff;
        value.resize(std::max<size_t>(value.size(), 4), 0);
        to.insert(to.end(), value.begin(), value.end());
    }
    PutLE(tiff, 0, 4);
    tiff.insert(tiff.end(), extra.begin(), extra.end());
    return tiff;
}
std::vector<TiffEntry> TiffHeader(uint32_t width, uint32_t bits, uint32_t photometric, uint16_t type = 3) {
    return {{256, type, {width}}, {257, type, {1}}, {258, 3, {bits}}, {259, 3, {1}}, {262, 3, {photometric}},
            {278, 3, {1}}};
}
std::vector<TiffEntry> RgbaTiff(uint32_t extraSamples) {
    std::vector<TiffEntry> entries = TiffHeader(1, 8, 2);
    entries[2].values = {8, 8, 8, 8};
    entries.insert(entries.end(), {{277, 3, {4}}, {338, 3, {extraSamples}}});
    return entries;
}

}  // namespace

TEST(BitmapFileType, GetTypeFromFilename) {
    // Only the two short spellings are mapped, case-sensitively; no notion of folders.
    const std::pair<const wchar_t*, const wchar_t*> cases[] = {
        {L"a.jpg", L"jpeg"}, {L"a.tif", L"tiff"}, {L"a.JPG", L"JPG"}, {L"a.b.bmp", L"bmp"}, {L"dir.d/file", L"d/file"}};
    for (const auto& c : cases) EXPECT_EQ(GetTypeFromFilename(c.first), c.second);
}

TEST_F(BitmapFile, LosslessFilesLoadBackUnpremultiplied) {
    // The type comes from the name unless given, is lower-cased, and the
    // loader goes by the content, not the name.
    const std::pair<std::wstring, std::wstring> cases[] = {
        {L"pic.png", L""}, {L"pic.tif", L""}, {L"pic.bmp", L""}, {L"upper.png", L"PNG"},
        {L"really_a_png.bmp", L"png"}, {L"bild_\u00E4\u20AC\U0001F600.png", L""}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.first);
        std::shared_ptr<Bitmap> original = MakeBitmap(3, 2, kPremultiplied);
        const std::wstring path = dir.wstring() + L"/" + c.first;
        c.second.empty() ? original->SaveToFile(path) : original->SaveToFile(path, c.second);
        std::shared_ptr<Bitmap> loaded = Bitmap::LoadFromFile(path);
        EXPECT_EQ(loaded->GetPixelFormat(), PixelFormat::ARGB8);
        EXPECT_EQ(Pixels(*loaded), kStraight);
        EXPECT_EQ(Pixels(*original), kPremultiplied);  // the saved bitmap is left alone
    }
    EXPECT_EQ(Read("really_a_png.bmp")[1], 'P');
    EXPECT_TRUE(fs::exists(dir / "bild_\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80.png"));
}

TEST_F(BitmapFile, JpegDropsAlphaAndKeepsPremultipliedColours) {
    // Left half opaque, right half the half-alpha pixel: JPEG keeps the
    // colours as if laid on black and loads opaque.
    const int w = 16, h = 16;
    const unsigned char opaque[4] = {40, 80, 160, 255}, half[4] = {0x40, 0x20, 0x10, 0x80};
    Bytes pixels(w * h * 4);
    for (int i = 0; i < w * h; ++i) std::copy_n(i % w < 8 ? opaque : half, 4, &pixels[i * 4]);
    MakeBitmap(w, h, pixels)->SaveToFile(Path("pic.jpg"));
    MakeBitmap(w, h, pixels)->SaveToFile(Path("x.JPG"), L"JpEg");
    EXPECT_EQ(Read("x.JPG"), Read("pic.jpg"));
    std::shared_ptr<Bitmap> loaded = Bitmap::LoadFromFile(Path("pic.jpg"));
    ASSERT_EQ(loaded->GetSize(), Size<int>(w, h));
    const Bytes back = Pixels(*loaded);
    for (int y = 0; y < h; ++y)
        for (int x : {0, 3, 12, 15}) {
            const unsigned char* p = &back[(y * w + x) * 4];
            for (int k = 0; k < 3; ++k) EXPECT_NEAR(p[k], (x < 8 ? opaque : half)[k], 6) << x << "," << y << ":" << k;
            EXPECT_EQ(p[3], 255);
        }
}

TEST_F(BitmapFile, Resolution) {
    // TIFF stores a rational and JPEG whole dots per inch: exact. PNG and BMP
    // store rounded pixels per metre, read back as ppm * 0.0254: 150 dpi ->
    // 5906 -> 150.0124; 300 -> 11811. Without a usable resolution loading gives 96.
    for (const char* name : {"dpi.tiff", "dpi.jpeg", "dpi.png", "dpi.bmp"}) {
        const bool exact = name[4] == 't' || name[4] == 'j';
        MakeBitmap(3, 2, kPremultiplied, 150.0f, 300.0f)->SaveToFile(Path(name));
        std::shared_ptr<Bitmap> loaded = Bitmap::LoadFromFile(Path(name));
        EXPECT_FLOAT_EQ(loaded->GetDpiX(), exact ? 150.0f : static_cast<float>(5906 * 0.0254)) << name;
        EXPECT_FLOAT_EQ(loaded->GetDpiY(), exact ? 300.0f : static_cast<float>(11811 * 0.0254));
        MakeBitmap(3, 2, kPremultiplied, 0.0f, -1.0f)->SaveToFile(Path(name));
        EXPECT_EQ(Bitmap::LoadFromFile(Path(name))->GetDpiY(), 96.0f) << name;
    }
    // Hand-made: pixels per metre in a PNG, a TIFF in pixels per centimetre.
    Write("phys.png", MakePng(1, 1, 8, 0, {{0x10}}, Bytes(), Bytes(), 3780));
    EXPECT_FLOAT_EQ(Bitmap::LoadFromFile(Path("phys.png"))->GetDpiX(), static_cast<float>(3780 * 0.0254));
    std::vector<TiffEntry> cm = TiffHeader(1, 8, 1);
    cm.insert(cm.end(), {{282, 5, {100, 1}}, {283, 5, {50, 1}}, {296, 3, {3}}});
    Write("cm.tif", MakeTiff(cm, {0x80}));
    EXPECT_FLOAT_EQ(Bitmap::LoadFromFile(Path("cm.tif"))->GetDpiY(), 127.0f);
}

TEST_F(BitmapFile, DecodersExpandToEightBitArgb) {
    const struct {
        const char* name;
        Bytes file;
        Bytes expected;  // memory order blue, green, red, alpha
    } cases[] = {
        {"gray1.png", MakePng(3, 1, 1, 0, {{0xA0}}), {255, 255, 255, 255, 0, 0, 0, 255, 255, 255, 255, 255}},
        {"grayalpha.png", MakePng(1, 1, 8, 4, {{0x80, 0x40}}), {0x80, 0x80, 0x80, 0x40}},
        {"rgb16.png", MakePng(1, 1, 16, 2, {{0xFF, 0xFF, 0x80, 0x00, 0x00, 0x00}}), {0, 128, 255, 255}},
        {"palette.png", MakePng(2, 1, 8, 3, {{0, 1}}, {255, 0, 0, 0, 0, 255}, {0x80}), {0, 0, 255, 0x80, 255, 0, 0, 255}},
        // BMP rows are stored bottom-up and come back top-down.
        {"rgb.bmp", MakeBmp(2, 2, 24, {{1, 2, 3, 4, 5, 6}, {7, 8, 9, 10, 11, 12}}),
         {1, 2, 3, 255, 4, 5, 6, 255, 7, 8, 9, 255, 10, 11, 12, 255}},
        {"palette.bmp", MakeBmp(2, 1, 8, {{1, 0}}, {10, 20, 30, 0, 40, 50, 60, 0}), {40, 50, 60, 255, 10, 20, 30, 255}},
        // Minimum-is-white; associated alpha unpremultiplied, unassociated as it stands.
        {"white.tif", MakeTiff(TiffHeader(2, 8, 0), {0x00, 0xF0}), {255, 255, 255, 255, 0x0F, 0x0F, 0x0F, 255}},
        {"assoc.tif", MakeTiff(RgbaTiff(1), {0x10, 0x20, 0x40, 0x80}), {128, 64, 32, 128}},
        {"unassoc.tif", MakeTiff(RgbaTiff(2), {0x10, 0x20, 0x40, 0x80}), {0x40, 0x20, 0x10, 0x80}},
        {"bilevel.tif", MakeTiff(TiffHeader(3, 1, 1), {0x40}), {0, 0, 0, 255, 255, 255, 255, 255, 0, 0, 0, 255}},
    };
    for (const auto& c : cases) {
        Write(c.name, c.file);
        std::shared_ptr<Bitmap> loaded = Bitmap::LoadFromFile(Path(c.name));
        EXPECT_EQ(loaded->GetPixelFormat(), PixelFormat::ARGB8) << c.name;
        EXPECT_EQ(Pixels(*loaded), c.expected) << c.name;
    }
}

TEST_F(BitmapFile, SaveFailures) {
    std::shared_ptr<Bitmap> bitmap = MakeBitmap(3, 2, kPremultiplied);
    fs::create_directories(dir / "taken.bmp");
    // "JPG" is lower-cased to "jpg", which names no encoder.
    const std::pair<std::string, std::wstring> refused[] = {
        {"x.JPG", L""}, {"x.gif", L""}, {"x.png", L"jpg"}, {"noext", L""}, {"missing/x.png", L""}, {"taken.bmp", L""}};
    for (const auto& c : refused) {
        EXPECT_GRAPHICS_FAILURE(c.second.empty() ? bitmap->SaveToFile(Path(c.first))
                                                 : bitmap->SaveToFile(Path(c.first), c.second),
                                "SaveBitmapToFile", "Failed to save image");
        EXPECT_FALSE(fs::is_regular_file(dir / c.first)) << c.first;
    }
    EXPECT_GRAPHICS_FAILURE(bitmap->SaveToFile(L""), "_UrlFromFilename", "Failed create CFURLRef from std::string");
    // Rows narrower than four bytes a pixel can't be described as words; nor can no pixels.
    for (const auto& odd : {std::make_shared<Bitmap>(Size<int>(10, 2), PixelFormat::RGB8, 96.0f, 96.0f),
                            std::make_shared<Bitmap>(Size<int>(0, 0), PixelFormat::ARGB8, 96.0f, 96.0f)}) {
        EXPECT_GRAPHICS_FAILURE(odd->SaveToFile(Path("odd.png")), "SaveBitmapToFile", "Failed to save image");
        EXPECT_FALSE(fs::exists(dir / "odd.png"));
    }
}

TEST_F(BitmapFile, MissingTruncatedAndCorruptFilesFail) {
    const char *const kSource = "CreateCGImageSourceFromPath", *const kSourceMessage = "Failed to create CGImageSourceRef";
    EXPECT_GRAPHICS_FAILURE(Bitmap::LoadFromFile(L""), "_UrlFromFilename", "Failed create CFURLRef from std::string");
    EXPECT_GRAPHICS_FAILURE(Bitmap::LoadFromFile(Path("missing.png")), kSource, kSourceMessage);
    EXPECT_GRAPHICS_FAILURE(Bitmap::LoadFromFile(dir.wstring()), kSource, kSourceMessage);
    const unsigned char data[4] = {0x89, 'P', 'N', 'G'};
    // Files that no decoder recognises, whatever their names.
    const std::string text = "not an image at all";
    for (const Bytes& bytes : {Bytes(), Bytes(text.begin(), text.end()), Bytes(data, data + 4)})
        for (const char* name : {"x.png", "x.jpg", "x.tif", "x.bmp"}) {
            Write(name, bytes);
            EXPECT_GRAPHICS_FAILURE(Bitmap::LoadFromFile(Path(name)), kSource, kSourceMessage);
        }
    // Recognised, but the decoder gives up: every format cut short, and its signature followed by garbage.
    Bytes noise(24 * 24 * 4);
    for (size_t i = 0; i < noise.size(); ++i) noise[i] = static_cast<unsigned char>(i * i * 37 + i / 7);
    std::vector<std::pair<std::string, Bytes>> bad;
    for (const char* name : {"n.png", "n.jpeg", "n.tiff", "n.bmp"}) {
        MakeBitmap(24, 24, noise)->SaveToFile(Path(name));
        const Bytes whole = Read(name);
        Bitmap::LoadFromFile(Path(name));  // the whole file is fine
        for (size_t keep : {whole.size() / 2, size_t(12)})
            bad.push_back({name, Bytes(whole.begin(), whole.begin() + keep)});
        Bytes garbage(whole.begin(), whole.begin() + 8);
        for (int i = 0; i < 200; ++i) garbage.push_back(static_cast<unsigned char>(i * 37 + 11));
        bad.push_back({name, garbage});
    }
    // A flipped byte breaks a PNG's checksum.
    Bytes png = Read("n.png");
    png[png.size() - 30] ^= 0x55;
    bad.push_back({"crc.png", png});
    // Absurd or zero sizes; a palette BMP whose pixels point past its two colours.
    bad.push_back({"huge.png", MakePng(30000, 30000, 8, 6, {{0}})});
    bad.push_back({"zero.png", MakePng(0, 1, 8, 6, {{0}})});
    Bytes wide = MakeBmp(1, 1, 24, {{1, 2, 3}});
    wide[18] = wide[19] = wide[20] = 0xFF, wide[21] = 0x7F;  // width 2^31 - 1
    bad.push_back({"wide.bmp", wide});
    std::vector<TiffEntry> huge = TiffHeader(100000, 8, 1, 4);
    huge[1].values = {100000};
    bad.push_back({"huge.tif", MakeTiff(huge, {0})});
    bad.push_back({"index.bmp", MakeBmp(2, 1, 8, {{1, 2}}, {10, 20, 30, 0, 40, 50, 60, 0})});
    for (size_t i = 0; i < bad.size(); ++i) {
        SCOPED_TRACE(testing::Message() << bad[i].first << " " << i);
        Write("bad", bad[i].second);
        EXPECT_GRAPHICS_FAILURE(Bitmap::LoadFromFile(Path("bad")), "LoadBitmapFromFile",
                                "Failed to create CGImageRef from CGImageSourceRef");
    }
}
