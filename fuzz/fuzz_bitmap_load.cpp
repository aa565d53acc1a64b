// Feeds arbitrary bytes to Bitmap::LoadFromFile through a file. The kind of
// file is recognised from its content; the name's ending still varies with
// the first byte so that nothing comes to depend on it. A small image that
// loads is saved again in one of the four kinds and must load back.

#include "Graphics/Bitmap.h"
#include "Graphics/Exception.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

const std::filesystem::path& _WorkDir() {
    static const std::filesystem::path dir = [] {
        std::filesystem::path d =
            std::filesystem::temp_directory_path() / ("graphics_fuzz_bitmap_" + std::to_string(::getpid()));
        std::filesystem::create_directories(d);
        std::atexit([] {
            std::error_code ignored;
            std::filesystem::remove_all(_WorkDir(), ignored);
        });
        return d;
    }();
    return dir;
}

bool _WriteFile(const std::filesystem::path& path, const uint8_t* data, size_t size) {
    FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) return false;
    bool ok = size == 0 || std::fwrite(data, 1, size, file) == size;
    return std::fclose(file) == 0 && ok;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const char* const kEndings[4] = {".png", ".jpeg", ".tiff", ".bmp"};
    const std::filesystem::path input = _WorkDir() / (std::string("input") + kEndings[size ? data[0] % 4 : 0]);
    if (!_WriteFile(input, data, size)) return 0;

    std::shared_ptr<Graphics::Bitmap> bitmap;
    try {
        bitmap = Graphics::Bitmap::LoadFromFile(input.wstring());
    } catch (const Graphics::Exception&) {
        return 0;
    }
    if (!bitmap || bitmap->GetPixelFormat() != Graphics::PixelFormat::ARGB8) std::abort();
    Graphics::Size<int> s = bitmap->GetSize();
    if (s.width < 1 || s.height < 1) std::abort();

    // Read every pixel, so that uninitialised or short buffers show.
    std::vector<unsigned char> pixels(static_cast<size_t>(s.width) * s.height * 4);
    bitmap->CopyToMemory(nullptr, pixels.data(), s.width * 4, s.width * 4);
    unsigned int sum = 0;
    for (unsigned char c : pixels) sum += c;
    if (sum == 0xFFFFFFFFu) std::fputc(0, stderr);

    if (static_cast<long long>(s.width) * s.height <= 64 * 64) {
        static const wchar_t* const kTypes[4] = {L"png", L"jpeg", L"tiff", L"bmp"};
        const std::filesystem::path output = _WorkDir() / "output";
        try {
            bitmap->SaveToFile(output.wstring(), kTypes[size % 4]);
            std::shared_ptr<Graphics::Bitmap> again = Graphics::Bitmap::LoadFromFile(output.wstring());
            if (again->GetSize() != s) std::abort();
        } catch (const Graphics::Exception&) {
            std::abort();  // what we write we must be able to read
        }
    }
    return 0;
}
