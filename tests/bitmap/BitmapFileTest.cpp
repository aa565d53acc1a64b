#include "Graphics/Bitmap.h"
#include "LogCapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
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
    void Write(const std::string& name, const Bytes& bytes) const {
        std::ofstream(dir / name, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    }
    Bytes Read(const std::string& name) const {
        std::ifstream in(dir / name, std::ios::binary);
        return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }

    fs::path dir;
};

// A bitmap holding the given memory bytes (four a pixel), tightly packed.
std::shared_ptr<Bitmap> MakeBitmap(int width, int height, const Bytes& pixels, float dpiX = 96.0f,
                                   float dpiY = 96.0f) {
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

// Translucent pixels in memory order blue, green, red, alpha, premultiplied
// as the saver takes them; the last has colours above its alpha.
const Bytes kPremultiplied = {0x40, 0x20, 0x10, 0x80, 10, 200, 30, 255, 0, 0,   0, 0,
                              0x33, 0x66, 0x99, 0xCC, 1,  0,   1,  1,   200, 100, 50, 100};
// What a lossless file gives back: each colour c of alpha a is stored as
// (c * 255 + a / 2) / a, at most 255.
//   64 * 255 + 64 = 16384, / 128 = 128; 32 -> 64; 16 -> 32
//   51 * 255 + 102 = 13107, / 204 = 64; 102 -> 128; 153 -> 191
//   1 of alpha 1 -> 255; 200 -> 510 -> 255; 100 -> 255; 50 -> 12800 / 100 = 128
const Bytes kStraight = {128, 64,  32,  128, 10,  200, 30, 255, 0,   0,   0,   0,
                         64,  128, 191, 204, 255, 0,   255, 1,  255, 255, 128, 100};

// ---- hand-made files ----

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

// A PNG of one stored (uncompressed) deflate block, filter 0 on every row.
// rows hold the packed samples of each row.
Bytes MakePng(uint32_t width, uint32_t height, int bitDepth, int colorType, const std::vector<Bytes>& rows,
              const Bytes& palette = Bytes(), const Bytes& transparency = Bytes(), uint32_t ppm = 0) {
    Bytes png = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A}, header, raw;
    PutBE32(header, width);
    PutBE32(header, height);
    header.insert(header.end(), {static_cast<unsigned char>(bitDepth), static_cast<unsigned char>(colorType), 0, 0, 0});
    PutChunk(png, "IHDR", header);
    if (ppm) {
        Bytes phys;
        PutBE32(phys, ppm);
        PutBE32(phys, ppm);
        phys.push_back(1);
        PutChunk(png, "pHYs", phys);
    }
    if (!palette.empty()) PutChunk(png, "PLTE", palette);
    if (!transparency.empty()) PutChunk(png, "tRNS", transparency);
    for (const Bytes& row : rows) {
        raw.push_back(0);
        raw.insert(raw.end(), row.begin(), row.end());
    }
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
    const uint32_t rowBytes = (width * bitsPerPixel + 31) / 32 * 4;
    const uint32_t offset = 14 + 40 + static_cast<uint32_t>(palette.size());
    Bytes bmp = {'B', 'M'};
    for (uint32_t v : {offset + rowBytes * height, 0u, offset, 40u, uint32_t(width), uint32_t(height)}) PutLE(bmp, v, 4);
    PutLE(bmp, 1, 2);
    PutLE(bmp, bitsPerPixel, 2);
    for (uint32_t v : {0u, rowBytes * height, ppm, ppm, uint32_t(palette.size() / 4), 0u}) PutLE(bmp, v, 4);
    bmp.insert(bmp.end(), palette.begin(), palette.end());
    for (int y = height - 1; y >= 0; --y) {
        Bytes row = rows[y];
        row.resize(rowBytes, 0);
        bmp.insert(bmp.end(), row.begin(), row.end());
    }
    return bmp;
}

// A little-endian TIFF of one strip. Each entry is a tag, a type (3 SHORT,
// 4 LONG, 5 RATIONAL as numerator, denominator pairs) and its values;
// StripOffsets and StripByteCounts are added.
struct TiffEntry {
    uint16_t tag, type;
    std::vector<uint32_t> values;
};

Bytes MakeTiff(std::vector<TiffEntry> entries, const Bytes& strip) {
    entries.push_back({273, 4, {8}});
    entries.push_back({279, 4, {static_cast<uint32_t>(strip.size())}});
    std::sort(entries.begin(), entries.end(), [](const TiffEntry& a, const TiffEntry& b) { return a.tag < b.tag; });
    const uint32_t ifd = 8 + static_cast<uint32_t>(strip.size() + (strip.size() & 1));
    const uint32_t extraOffset = ifd + 2 + 12 * static_cast<uint32_t>(entries.size()) + 4;
    Bytes tiff = {'I', 'I', 42, 0}, extra;
    PutLE(tiff, ifd, 4);
    tiff.insert(tiff.end(), strip.begin(), strip.end());
    if (strip.size() & 1) tiff.push_back(0);
    PutLE(tiff, static_cast<uint32_t>(entries.size()), 2);
    for (const TiffEntry& e : entries) {
        PutLE(tiff, e.tag, 2);
        PutLE(tiff, e.type, 2);
        PutLE(tiff, static_cast<uint32_t>(e.type == 5 ? e.values.size() / 2 : e.values.size()), 4);
        Bytes value;
        for (uint32_t v : e.values) PutLE(value, v, e.type == 3 ? 2 : 4);
        if (value.size() <= 4) {
            value.resize(4, 0);
            tiff.insert(tiff.end(), value.begin(), value.end());
        } else {
            PutLE(tiff, extraOffset + static_cast<uint32_t>(extra.size()), 4);
            extra.insert(extra.end(), value.begin(), value.end());
        }
    }
    PutLE(tiff, 0, 4);
    tiff.insert(tiff.end(), extra.begin(), extra.end());
    return tiff;
}

// Width, height, bits per sample, compression none, photometric, rows per strip.
std::vector<TiffEntry> TiffHeader(uint32_t width, uint32_t bits, uint32_t photometric, uint16_t type = 3) {
    return {{256, type, {width}}, {257, type, {1}}, {258, 3, {bits}}, {259, 3, {1}}, {262, 3, {photometric}},
            {278, 3, {1}}};
}

std::vector<TiffEntry> RgbaTiff(uint32_t extraSamples) {
    std::vector<TiffEntry> entries = TiffHeader(1, 8, 2);
    entries[2].values = {8, 8, 8, 8};
    entries.push_back({277, 3, {4}});
    entries.push_back({338, 3, {extraSamples}});
    return entries;
}

}  // namespace

TEST(BitmapFileType, GetTypeFromFilename) {
    // Only the two short spellings are mapped, case-sensitively; no notion of folders.
    const std::pair<const wchar_t*, const wchar_t*> cases[] = {
        {L"a.jpg", L"jpeg"}, {L"a.tif", L"tiff"},   {L"a.png", L"png"}, {L"a.JPG", L"JPG"},
        {L"noext", L"noext"}, {L"a.b.bmp", L"bmp"}, {L"a.", L""},        {L"dir.d/file", L"d/file"}};
    for (const auto& c : cases) EXPECT_EQ(GetTypeFromFilename(c.first), c.second);
}

TEST_F(BitmapFile, LosslessFilesLoadBackUnpremultiplied) {
    // The type comes from the name unless given, is lower-cased, and the
    // loader goes by the content, not the name.
    const std::pair<std::wstring, std::wstring> cases[] = {
        {L"pic.png", L""},   {L"pic.tiff", L""},       {L"pic.bmp", L""},          {L"pic.tif", L""},
        {L"upper.png", L"PNG"}, {L"upper.tif", L"TIFF"}, {L"really_a_png.bmp", L"png"},
        {L"bild_\u00E4\u20AC\U0001F600.png", L""}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.first);
        std::shared_ptr<Bitmap> original = MakeBitmap(3, 2, kPremultiplied);
        const std::wstring path = dir.wstring() + L"/" + c.first;
        if (c.second.empty())
            original->SaveToFile(path);
        else
            original->SaveToFile(path, c.second);
        std::shared_ptr<Bitmap> loaded = Bitmap::LoadFromFile(path);
        EXPECT_EQ(loaded->GetPixelFormat(), PixelFormat::ARGB8);
        EXPECT_EQ(loaded->GetSize(), Size<int>(3, 2));
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
    Bytes pixels(w * h * 4);
    for (int i = 0; i < w * h; ++i) {
        const unsigned char opaque[4] = {40, 80, 160, 255}, half[4] = {0x40, 0x20, 0x10, 0x80};
        std::copy_n(i % w < 8 ? opaque : half, 4, &pixels[i * 4]);
    }
    MakeBitmap(w, h, pixels)->SaveToFile(Path("pic.jpg"));
    MakeBitmap(w, h, pixels)->SaveToFile(Path("x.JPG"), L"JpEg");
    EXPECT_EQ(Read("x.JPG"), Read("pic.jpg"));
    EXPECT_EQ(Read("pic.jpg")[1], 0xD8);

    std::shared_ptr<Bitmap> loaded = Bitmap::LoadFromFile(Path("pic.jpg"));
    EXPECT_EQ(loaded->GetPixelFormat(), PixelFormat::ARGB8);
    ASSERT_EQ(loaded->GetSize(), Size<int>(w, h));
    const Bytes back = Pixels(*loaded);
    for (int y = 0; y < h; ++y)
        for (int x : {0, 1, 2, 3, 12, 13, 14, 15}) {
            const unsigned char* p = &back[(y * w + x) * 4];
            const int expected[3] = {x < 8 ? 40 : 0x40, x < 8 ? 80 : 0x20, x < 8 ? 160 : 0x10};
            for (int k = 0; k < 3; ++k) EXPECT_NEAR(p[k], expected[k], 6) << x << "," << y << " channel " << k;
            EXPECT_EQ(p[3], 255);
        }
}

TEST_F(BitmapFile, Resolution) {
    // TIFF stores a rational and JPEG whole dots per inch: exact here. PNG
    // and BMP store pixels per metre, rounded, and read back ppm * 0.0254:
    // 150 / 0.0254 -> 5906 -> 150.0124; 300 / 0.0254 -> 11811 -> 299.9994.
    // Without a usable resolution nothing is written and loading gives 96.
    for (const char* name : {"dpi.tiff", "dpi.jpeg", "dpi.png", "dpi.bmp"}) {
        SCOPED_TRACE(name);
        const bool exact = name[4] == 't' || name[4] == 'j';
        MakeBitmap(3, 2, kPremultiplied, 150.0f, 300.0f)->SaveToFile(Path(name));
        std::shared_ptr<Bitmap> loaded = Bitmap::LoadFromFile(Path(name));
        EXPECT_FLOAT_EQ(loaded->GetDpiX(), exact ? 150.0f : static_cast<float>(5906 * 0.0254));
        EXPECT_FLOAT_EQ(loaded->GetDpiY(), exact ? 300.0f : static_cast<float>(11811 * 0.0254));
        MakeBitmap(3, 2, kPremultiplied, 0.0f, -1.0f)->SaveToFile(Path(name));
        loaded = Bitmap::LoadFromFile(Path(name));
        EXPECT_EQ(loaded->GetDpiX(), 96.0f);
        EXPECT_EQ(loaded->GetDpiY(), 96.0f);
    }
    // Hand-made: 3780 pixels per metre in a PNG, 2835 in a BMP, a TIFF in
    // pixels per centimetre.
    Write("phys.png", MakePng(1, 1, 8, 0, {{0x10}}, Bytes(), Bytes(), 3780));
    EXPECT_FLOAT_EQ(Bitmap::LoadFromFile(Path("phys.png"))->GetDpiX(), static_cast<float>(3780 * 0.0254));
    Write("ppm.bmp", MakeBmp(1, 1, 24, {{1, 2, 3}}, Bytes(), 2835));
    EXPECT_FLOAT_EQ(Bitmap::LoadFromFile(Path("ppm.bmp"))->GetDpiY(), static_cast<float>(2835 * 0.0254));
    std::vector<TiffEntry> cm = TiffHeader(1, 8, 1);
    cm.insert(cm.end(), {{282, 5, {100, 1}}, {283, 5, {50, 1}}, {296, 3, {3}}});
    Write("cm.tif", MakeTiff(cm, {0x80}));
    EXPECT_FLOAT_EQ(Bitmap::LoadFromFile(Path("cm.tif"))->GetDpiX(), 254.0f);
    EXPECT_FLOAT_EQ(Bitmap::LoadFromFile(Path("cm.tif"))->GetDpiY(), 127.0f);
}

TEST_F(BitmapFile, DecodersExpandToEightBitArgb) {
    const struct {
        const char* name;
        Bytes file;
        Bytes expected;  // memory order blue, green, red, alpha
    } cases[] = {
        {"gray.png", MakePng(2, 1, 8, 0, {{0x10, 0xF0}}), {0x10, 0x10, 0x10, 255, 0xF0, 0xF0, 0xF0, 255}},
        {"gray1.png", MakePng(3, 1, 1, 0, {{0xA0}}), {255, 255, 255, 255, 0, 0, 0, 255, 255, 255, 255, 255}},
        {"grayalpha.png", MakePng(1, 1, 8, 4, {{0x80, 0x40}}), {0x80, 0x80, 0x80, 0x40}},
        {"rgb16.png", MakePng(1, 1, 16, 2, {{0xFF, 0xFF, 0x80, 0x00, 0x00, 0x00}}), {0, 128, 255, 255}},
        {"palette.png", MakePng(2, 1, 8, 3, {{0, 1}}, {255, 0, 0, 0, 0, 255}, {0x80}), {0, 0, 255, 0x80, 255, 0, 0, 255}},
        {"rgb.png", MakePng(1, 2, 8, 2, {{1, 2, 3}, {4, 5, 6}}), {3, 2, 1, 255, 6, 5, 4, 255}},
        // BMP rows are stored bottom-up and come back top-down.
        {"rgb.bmp", MakeBmp(2, 2, 24, {{1, 2, 3, 4, 5, 6}, {7, 8, 9, 10, 11, 12}}),
         {1, 2, 3, 255, 4, 5, 6, 255, 7, 8, 9, 255, 10, 11, 12, 255}},
        {"palette.bmp", MakeBmp(3, 1, 8, {{1, 0, 1}}, {10, 20, 30, 0, 40, 50, 60, 0}),
         {40, 50, 60, 255, 10, 20, 30, 255, 40, 50, 60, 255}},
        // Minimum-is-white gray; associated alpha unpremultiplied on load,
        // unassociated taken as it stands; bilevel through the RGBA reader.
        {"white.tif", MakeTiff(TiffHeader(2, 8, 0), {0x00, 0xF0}), {255, 255, 255, 255, 0x0F, 0x0F, 0x0F, 255}},
        {"assoc.tif", MakeTiff(RgbaTiff(1), {0x10, 0x20, 0x40, 0x80}), {128, 64, 32, 128}},
        {"unassoc.tif", MakeTiff(RgbaTiff(2), {0x10, 0x20, 0x40, 0x80}), {0x40, 0x20, 0x10, 0x80}},
        {"bilevel.tif", MakeTiff(TiffHeader(3, 1, 1), {0x40}), {0, 0, 0, 255, 255, 255, 255, 255, 0, 0, 0, 255}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Write(c.name, c.file);
        std::shared_ptr<Bitmap> loaded = Bitmap::LoadFromFile(Path(c.name));
        EXPECT_EQ(loaded->GetPixelFormat(), PixelFormat::ARGB8);
        EXPECT_EQ(Pixels(*loaded), c.expected);
    }
}

TEST_F(BitmapFile, SaveFailuresAndCaches) {
    std::shared_ptr<Bitmap> bitmap = MakeBitmap(3, 2, kPremultiplied);
    fs::create_directories(dir / "taken.bmp");
    // "JPG" is lower-cased to "jpg" after GetTypeFromFilename left it alone,
    // and "jpg" names no encoder. Rows narrower than four bytes a pixel (a
    // 10-pixel RGB8 row is 32 bytes) can't be described as words.
    const std::pair<std::string, std::wstring> refused[] = {
        {"x.JPG", L""}, {"x.gif", L""}, {"x.png", L"jpg"}, {"noext", L""}, {"missing/x.png", L""},
        {"missing/x.tiff", L""}, {"taken.bmp", L""}};
    for (const auto& c : refused) {
        SCOPED_TRACE(c.first);
        if (c.second.empty())
            EXPECT_GRAPHICS_FAILURE(bitmap->SaveToFile(Path(c.first)), "SaveBitmapToFile", "Failed to save image");
        else
            EXPECT_GRAPHICS_FAILURE(bitmap->SaveToFile(Path(c.first), c.second), "SaveBitmapToFile",
                                    "Failed to save image");
        EXPECT_FALSE(fs::is_regular_file(dir / c.first));
    }
    EXPECT_GRAPHICS_FAILURE(bitmap->SaveToFile(L""), "_UrlFromFilename", "Failed create CFURLRef from std::string");
    EXPECT_GRAPHICS_FAILURE(bitmap->SaveToFile(L"", L"png"), "_UrlFromFilename",
                            "Failed create CFURLRef from std::string");
    for (const auto& odd : {std::make_shared<Bitmap>(Size<int>(10, 2), PixelFormat::RGB8, 96.0f, 96.0f),
                            std::make_shared<Bitmap>(Size<int>(0, 0), PixelFormat::ARGB8, 96.0f, 96.0f)}) {
        EXPECT_GRAPHICS_FAILURE(odd->SaveToFile(Path("odd.png")), "SaveBitmapToFile", "Failed to save image");
        EXPECT_FALSE(fs::exists(dir / "odd.png"));
    }

    // A save drops the caches only when the caller's last lock was for
    // writing; it locks the implementation, so that mode stays the caller's.
    struct Marker : CacheBase {};
    const unsigned int token = CacheHolder::GenerateUniqueToken();
    bitmap->SetCache(token, std::make_shared<Marker>());
    bitmap->SaveToFile(Path("a.png"));
    EXPECT_TRUE(bitmap->GetCache(token));
    for (LockMode::Enum mode : {LockMode::Read, LockMode::ReadWrite, LockMode::Write}) {
        bitmap->Lock(nullptr, mode);
        bitmap->Unlock();
        bitmap->SetCache(token, std::make_shared<Marker>());
        bitmap->SaveToFile(Path("a.png"));
        EXPECT_EQ(!bitmap->GetCache(token), mode == LockMode::Write) << mode;
        EXPECT_EQ(bitmap->GetLastLockMode(), mode);
    }
}

TEST_F(BitmapFile, MissingTruncatedAndCorruptFilesFail) {
    const char* const kSource = "CreateCGImageSourceFromPath";
    const char* const kSourceMessage = "Failed to create CGImageSourceRef";
    EXPECT_GRAPHICS_FAILURE(Bitmap::LoadFromFile(L""), "_UrlFromFilename", "Failed create CFURLRef from std::string");
    EXPECT_GRAPHICS_FAILURE(Bitmap::LoadFromFile(Path("missing.png")), kSource, kSourceMessage);
    EXPECT_GRAPHICS_FAILURE(Bitmap::LoadFromFile(dir.wstring()), kSource, kSourceMessage);
    const unsigned char data[4] = {0x89, 'P', 'N', 'G'};
    EXPECT_GRAPHICS_FAILURE(Bitmap::LoadFromMemory(data, sizeof(data)), "LoadFromMemory",
                            "Bitmap::LoadFromMemory - Implement me please");

    // Files that no decoder recognises, whatever their names.
    const std::string text = "not an image at all";
    for (const Bytes& bytes : {Bytes(), Bytes(text.begin(), text.end()), Bytes(data, data + 4)})
        for (const char* name : {"x.png", "x.jpg", "x.tif", "x.bmp"}) {
            Write(name, bytes);
            EXPECT_GRAPHICS_FAILURE(Bitmap::LoadFromFile(Path(name)), kSource, kSourceMessage);
        }

    // Recognised, but the decoder gives up: every format cut short at four
    // places, and its signature followed by garbage.
    const char* const kDecode = "LoadBitmapFromFile";
    const char* const kDecodeMessage = "Failed to create CGImageRef from CGImageSourceRef";
    std::mt19937 random(7);
    Bytes noise(24 * 24 * 4);
    for (size_t i = 0; i < noise.size(); i += 4) {
        noise[i + 3] = static_cast<unsigned char>(random());
        for (int k = 0; k < 3; ++k) noise[i + k] = static_cast<unsigned char>(random() % (noise[i + 3] + 1u));
    }
    std::vector<std::pair<std::string, Bytes>> bad;
    for (const char* name : {"n.png", "n.jpeg", "n.tiff", "n.bmp"}) {
        MakeBitmap(24, 24, noise)->SaveToFile(Path(name));
        const Bytes whole = Read(name);
        ASSERT_GT(whole.size(), 64u);
        Bitmap::LoadFromFile(Path(name));  // the whole file is fine
        for (size_t keep : {whole.size() * 6 / 10, whole.size() / 2, size_t(12), size_t(8)})
            bad.push_back({name, Bytes(whole.begin(), whole.begin() + keep)});
        Bytes garbage(whole.begin(), whole.begin() + 8);
        for (int i = 0; i < 200; ++i) garbage.push_back(static_cast<unsigned char>(i * 37 + 11));
        bad.push_back({name, garbage});
    }
    // A flipped byte in a PNG's image data breaks its checksum; a JPEG's
    // entropy data runs into an end marker halfway.
    Bytes png = Read("n.png");
    png[png.size() - 30] ^= 0x55;
    bad.push_back({"crc.png", png});
    Bytes jpeg = Read("n.jpeg");
    size_t scan = 0;
    for (size_t i = 0; i + 1 < jpeg.size(); ++i)
        if (jpeg[i] == 0xFF && jpeg[i + 1] == 0xDA) scan = i;
    ASSERT_GT(scan, 0u);
    jpeg[(scan + jpeg.size()) / 2] = 0xFF;
    jpeg[(scan + jpeg.size()) / 2 + 1] = 0xD9;
    bad.push_back({"marker.jpeg", jpeg});
    // Headers that claim absurd or zero sizes; a palette BMP whose pixels
    // point past its two colours.
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
        SCOPED_TRACE(testing::Message() << bad[i].first << " case " << i);
        Write("bad", bad[i].second);
        EXPECT_GRAPHICS_FAILURE(Bitmap::LoadFromFile(Path("bad")), kDecode, kDecodeMessage);
    }
}
