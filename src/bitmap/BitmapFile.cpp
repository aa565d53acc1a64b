// Reading and writing image files for Bitmap. The codecs themselves are the
// platform's (bitmap/ImageCodecs_linux); this file settles the file type, the
// format of the result, the channel order and the failure words.

#include "Graphics/Bitmap.h"

#include "bitmap/ImageCodecs_linux.h"
#include "core/Failure.h"

#include <locale>
#include <memory>
#include <string>
#include <type_traits>

namespace Graphics {

namespace {

using ImageCodecs::DecodedImage;
using ImageCodecs::EncoderType;
using ImageCodecs::ImageDestination;
using ImageCodecs::ImageSource;
using ImageCodecs::MallocBuffer;
using ImageCodecs::PixelImage;

// UTF-8 of a string of 32-bit characters; what is not a Unicode scalar value
// becomes U+FFFD.
std::string _WideToUtf8(const std::wstring& text) {
    std::string out;
    out.reserve(text.size());
    for (wchar_t wc : text) {
        unsigned long c = static_cast<unsigned long>(static_cast<std::make_unsigned<wchar_t>::type>(wc));
        if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = 0xFFFD;
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (c >> 18));
            out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

// The file location as the codecs take it: a UTF-8 path. An empty name has
// none, nor has one with a NUL inside, which no path can hold.
std::string _UrlFromFilename(const std::wstring& filename) {
    std::string path = _WideToUtf8(filename);
    if (path.empty() || path.find('\0') != std::string::npos) {
        GRAPHICS_FAIL("Failed create CFURLRef from std::string");
    }
    return path;
}

std::unique_ptr<ImageSource> _CreateCGImageSourceFromPath(const std::string& path) {
    std::unique_ptr<ImageSource> source = ImageSource::CreateWithPath(path);
    if (!source) GRAPHICS_FAIL_IN("CreateCGImageSourceFromPath", "Failed to create CGImageSourceRef");
    return source;
}

MallocBuffer _GetImageData(DecodedImage& image, unsigned long& length) {
    MallocBuffer data = image.TakeData(length);
    if (!data) GRAPHICS_FAIL_IN("GetImageData", "Failed to get CGImageRef data");
    return data;
}

// The decoders deliver red, green, blue, alpha; the memory order of ARGB8 is
// blue, green, red, alpha. The alpha byte is taken as it comes.
void _FixRGB(unsigned char* data, unsigned long length) {
    if (length < 1 || length % 4 != 0) GRAPHICS_FAIL_IN("FixRGB", "Failed to fix RGB for imege");
    for (unsigned long i = 0; i < length; i += 4) {
        unsigned char red = data[i];
        data[i] = data[i + 2];
        data[i + 2] = red;
    }
}

std::shared_ptr<Bitmap> _LoadBitmapFromFile(const std::wstring& filename) {
    std::string path = _UrlFromFilename(filename);
    std::unique_ptr<ImageSource> source = _CreateCGImageSourceFromPath(path);
    std::unique_ptr<DecodedImage> image = source->CreateImage();
    if (!image) GRAPHICS_FAIL_IN("LoadBitmapFromFile", "Failed to create CGImageRef from CGImageSourceRef");

    const ImageCodecs::ImageProperties& properties = image->GetProperties();
    float dpiX = properties.hasDpiX ? properties.dpiX : 96.0f;
    float dpiY = properties.hasDpiY ? properties.dpiY : 96.0f;
    int width = image->GetWidth();
    int height = image->GetHeight();
    int bytesPerRow = image->GetBytesPerRow();

    // The format is ARGB8 whatever the file held.
    std::shared_ptr<Bitmap> bitmap(new Bitmap(Size<int>(width, height), PixelFormat::ARGB8, dpiX, dpiY));
    unsigned long length = 0;
    MallocBuffer data = _GetImageData(*image, length);
    _FixRGB(data.get(), length);
    bitmap->GetImplementation()->CopyFromMemory(nullptr, data.get(), bytesPerRow, width * 4);
    bitmap->ReleaseAllCaches();
    return bitmap;
}

EncoderType _EncoderForType(const std::wstring& type) {
    std::wstring lower = type;
    if (!lower.empty()) {
        std::use_facet<std::ctype<wchar_t>>(std::locale()).tolower(&lower[0], &lower[0] + lower.size());
    }
    if (lower == L"jpeg") return EncoderType::Jpeg;
    if (lower == L"png") return EncoderType::Png;
    if (lower == L"bmp") return EncoderType::Bmp;
    if (lower == L"tiff") return EncoderType::Tiff;
    return EncoderType::Generic;  // "any image": no encoder will take it
}

}  // namespace

std::wstring GetTypeFromFilename(const std::wstring& filename) {
    std::wstring::size_type dot = filename.rfind(L'.');
    std::wstring type = dot == std::wstring::npos ? filename : filename.substr(dot + 1);
    if (type == L"jpg") return L"jpeg";
    if (type == L"tif") return L"tiff";
    return type;
}

std::shared_ptr<Bitmap> Bitmap::LoadFromFile(const std::wstring& filename) { return _LoadBitmapFromFile(filename); }

std::shared_ptr<Bitmap> Bitmap::LoadFromMemory(const void*, unsigned long) {
    GRAPHICS_FAIL("Bitmap::LoadFromMemory - Implement me please");
}

void Bitmap::SaveToFile(const std::wstring& filename) { SaveToFile(filename, GetTypeFromFilename(filename)); }

void Bitmap::SaveToFile(const std::wstring& filename, const std::wstring& type) {
    const char* const kStep = "SaveBitmapToFile";
    const std::shared_ptr<BitmapBase>& implementation = GetImplementation();
    if (!implementation) GRAPHICS_FAIL_IN(kStep, "Failed to save image");

    // Locked directly, so that the mode recorded by Bitmap::Lock stays the
    // last one.
    LockedData lock = implementation->Lock(nullptr, LockMode::Read);

    // The pixels are described as 32-bit words with premultiplied alpha on
    // top whatever the bitmap's format; rows shorter than that description
    // can't make an image. On this failure the bitmap stays locked.
    Size<int> size = implementation->GetSize();
    if (!lock.data || size.width < 1 || size.height < 1 ||
        static_cast<long long>(lock.stride) < static_cast<long long>(size.width) * 4) {
        GRAPHICS_FAIL_IN(kStep, "Failed to save image");
    }
    PixelImage image;
    image.data = static_cast<const unsigned char*>(lock.data);
    image.width = size.width;
    image.height = size.height;
    image.stride = lock.stride;
    image.dpiX = implementation->GetDpiX();
    image.dpiY = implementation->GetDpiY();

    // The encoder still reads this memory after the unlock: the caller keeps
    // the bitmap unchanged until the save returns.
    implementation->Unlock();
    if (GetLastLockMode() == LockMode::Write) ReleaseAllCaches();

    std::string path = _UrlFromFilename(filename);
    std::unique_ptr<ImageDestination> destination = ImageDestination::CreateWithPath(path, _EncoderForType(type));
    if (!destination) GRAPHICS_FAIL_IN(kStep, "Failed to save image");
    destination->AddImage(image);
    if (!destination->Finalize()) GRAPHICS_FAIL_IN(kStep, "Failed to save image");
}

}  // namespace Graphics
