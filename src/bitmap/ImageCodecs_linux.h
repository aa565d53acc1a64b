#pragma once

// The image file layer on Linux: PNG through libpng, JPEG through libjpeg,
// TIFF through libtiff, BMP through stb. It offers what the bitmap file code
// needs of a platform image framework: a source opened on a file whose kind
// is recognised from its first bytes, the decoding of its first image into
// rows of red, green, blue, alpha bytes with the resolution found in the
// file, and a destination that encodes one image of premultiplied
// blue, green, red, alpha pixels.

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace Graphics {
namespace ImageCodecs {

enum class ContainerType { Png, Jpeg, Tiff, Bmp };

// Images whose pixels would take more bytes than this are refused, as
// corrupt headers commonly claim absurd sizes.
const unsigned long long kMaxDecodedBytes = 1ull << 30;

struct FreeDeleter {
    void operator()(unsigned char* p) const { std::free(p); }
};
// Memory handed out by the C decoders, which allocate with malloc.
using MallocBuffer = std::unique_ptr<unsigned char, FreeDeleter>;

// Metadata of the decoded image; a resolution is present only when the file
// stated one that makes sense.
struct ImageProperties {
    bool hasDpiX = false;
    bool hasDpiY = false;
    float dpiX = 0.0f;
    float dpiY = 0.0f;
};

// The first image of a file, decoded. Rows are width * 4 bytes apart, each
// pixel red, green, blue, alpha, not premultiplied.
class DecodedImage {
public:
    DecodedImage(int width, int height, MallocBuffer pixels, const ImageProperties& properties);

    int GetWidth() const { return width; }
    int GetHeight() const { return height; }
    int GetBytesPerRow() const { return width * 4; }
    const ImageProperties& GetProperties() const { return properties; }

    // Hands the decoded bytes over to the caller (they are changed in
    // place there); length is set to their count. Null once taken.
    MallocBuffer TakeData(unsigned long& length);

private:
    int width;
    int height;
    MallocBuffer pixels;
    ImageProperties properties;
};

// An image file read into memory and recognised as one of the four kinds.
class ImageSource {
public:
    // Null when the file can't be read, is not a plain file, or no decoder
    // recognises its first bytes.
    static std::unique_ptr<ImageSource> CreateWithPath(const std::string& path);

    ContainerType GetType() const { return type; }

    // Decodes the first image. Null when the file is truncated, corrupt,
    // of a layout none of the decoders handles, or too large.
    std::unique_ptr<DecodedImage> CreateImage() const;

private:
    ImageSource(ContainerType type, std::vector<unsigned char> bytes);

    ContainerType type;
    std::vector<unsigned char> bytes;
};

enum class EncoderType { Jpeg, Png, Bmp, Tiff, Generic };

// Pixels to encode: 32-bit little-endian words with premultiplied alpha on
// top, so the bytes in memory are blue, green, red, alpha. The memory is
// read, never written, and must stay unchanged until Finalize returns.
struct PixelImage {
    const unsigned char* data = nullptr;
    int width = 0;
    int height = 0;
    int stride = 0;
    float dpiX = 0.0f;  // written to the file when finite and positive
    float dpiY = 0.0f;
};

// Writes one image into one file. PNG, TIFF and BMP keep the alpha channel
// (colours unpremultiplied for the file); JPEG drops it and keeps the
// premultiplied colours, as if the image were laid on black.
class ImageDestination {
public:
    // Null for EncoderType::Generic: there is no encoder for "any image".
    static std::unique_ptr<ImageDestination> CreateWithPath(const std::string& path, EncoderType type);

    void AddImage(const PixelImage& image);
    // Encodes and writes the file; false on any failure, in which case no
    // partial file is left behind.
    bool Finalize();

private:
    ImageDestination(const std::string& path, EncoderType type) : path(path), type(type) {}

    std::string path;
    EncoderType type;
    PixelImage image;
    bool hasImage = false;
};

}  // namespace ImageCodecs
}  // namespace Graphics
