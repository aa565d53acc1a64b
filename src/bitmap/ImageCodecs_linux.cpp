#include "bitmap/ImageCodecs_linux.h"

#include <cerrno>
#include <climits>
#include <cmath>
#include <csetjmp>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <jpeglib.h>
#include <jerror.h>
#include <png.h>
#include <tiffio.h>

// stb is compiled here, privately: its functions stay internal to this file,
// and only the BMP parts are used.
#define STB_IMAGE_STATIC
#define STB_IMAGE_IMPLEMENTATION
#define STBI_ONLY_BMP
#define STBI_NO_STDIO
#define STBI_NO_LINEAR
#define STBI_NO_HDR
#define STBI_NO_FAILURE_STRINGS
#define STB_IMAGE_WRITE_STATIC
#define STB_IMAGE_WRITE_IMPLEMENTATION
#define STBI_WRITE_NO_STDIO
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-function"
#pragma GCC diagnostic ignored "-Wunused-parameter"
#pragma GCC diagnostic ignored "-Wsign-compare"
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
#pragma GCC diagnostic ignored "-Wimplicit-fallthrough"
#include <stb_image.h>
#include <stb_image_write.h>
#pragma GCC diagnostic pop

namespace Graphics {
namespace ImageCodecs {

namespace {

// A progressive JPEG may hold any number of scans, each a full pass over the
// image; beyond this many the file is taken as hostile.
const int kMaxJpegScans = 500;
// Working memory libjpeg may use for whole-image buffers (progressive and
// multi-scan files).
const long kMaxJpegWorkingMemory = 512L * 1024 * 1024;
// The largest single allocation libtiff may make for one file.
const tmsize_t kMaxTiffAllocation = 256 * 1024 * 1024;

bool _CheckDimensions(unsigned long long width, unsigned long long height) {
    if (width < 1 || height < 1 || width > INT_MAX / 4 || height > INT_MAX) return false;
    return width * height * 4 <= kMaxDecodedBytes;
}

MallocBuffer _AllocPixels(int width, int height) {
    return MallocBuffer(static_cast<unsigned char*>(std::malloc(static_cast<size_t>(width) * height * 4)));
}

bool _IsUsableDpi(float dpi) { return std::isfinite(dpi) && dpi > 0.0f; }

// Colour of a premultiplied channel for a file that stores straight alpha,
// rounded to nearest; channels above their alpha (not valid premultiplied
// data) saturate.
inline unsigned char _Unpremultiply(unsigned int c, unsigned int a) {
    if (a == 255) return static_cast<unsigned char>(c);
    if (a == 0) return 0;
    unsigned int v = (c * 255 + a / 2) / a;
    return static_cast<unsigned char>(v > 255 ? 255 : v);
}

// Memory blue, green, red, alpha (premultiplied) to red, green, blue, alpha
// (straight).
void _PremultipliedBgraToRgba(const unsigned char* source, unsigned char* destination, int count) {
    for (int i = 0; i < count; ++i, source += 4, destination += 4) {
        unsigned int a = source[3];
        destination[0] = _Unpremultiply(source[2], a);
        destination[1] = _Unpremultiply(source[1], a);
        destination[2] = _Unpremultiply(source[0], a);
        destination[3] = static_cast<unsigned char>(a);
    }
}

// In place, red, green, blue, alpha premultiplied to straight.
void _UnpremultiplyRgba(unsigned char* pixels, size_t count) {
    for (size_t i = 0; i < count; ++i, pixels += 4) {
        unsigned int a = pixels[3];
        if (a == 255) continue;
        pixels[0] = _Unpremultiply(pixels[0], a);
        pixels[1] = _Unpremultiply(pixels[1], a);
        pixels[2] = _Unpremultiply(pixels[2], a);
    }
}

bool _ReadWholeFile(const std::string& path, std::vector<unsigned char>& bytes) {
    // Non-blocking so that a FIFO can't stall the open; it is refused below.
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return false;
    struct stat st;
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || st.st_size < 0) {
        ::close(fd);
        return false;
    }
    try {
        bytes.resize(static_cast<size_t>(st.st_size));
    } catch (const std::exception&) {
        ::close(fd);
        return false;
    }
    size_t done = 0;
    while (done < bytes.size()) {
        ssize_t n = ::read(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0) {
            if (errno == EINTR) continue;
            ::close(fd);
            return false;
        }
        if (n == 0) break;  // the file shrank meanwhile
        done += static_cast<size_t>(n);
    }
    ::close(fd);
    bytes.resize(done);
    return true;
}

bool _WriteFileBytes(const std::string& path, const unsigned char* data, size_t size) {
    FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) return false;
    bool ok = std::fwrite(data, 1, size, file) == size;
    ok = (std::fclose(file) == 0) && ok;
    if (!ok) std::remove(path.c_str());
    return ok;
}

bool _RecogniseType(const std::vector<unsigned char>& b, ContainerType& type) {
    static const unsigned char pngSignature[8] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
    size_t n = b.size();
    if (n >= 8 && std::memcmp(b.data(), pngSignature, 8) == 0) {
        type = ContainerType::Png;
        return true;
    }
    if (n >= 3 && b[0] == 0xFF && b[1] == 0xD8 && b[2] == 0xFF) {
        type = ContainerType::Jpeg;
        return true;
    }
    // Classic (42) and BigTIFF (43), in both byte orders.
    if (n >= 4 && ((b[0] == 'I' && b[1] == 'I' && (b[2] == 42 || b[2] == 43) && b[3] == 0) ||
                   (b[0] == 'M' && b[1] == 'M' && b[2] == 0 && (b[3] == 42 || b[3] == 43)))) {
        type = ContainerType::Tiff;
        return true;
    }
    if (n >= 2 && b[0] == 'B' && b[1] == 'M') {
        type = ContainerType::Bmp;
        return true;
    }
    return false;
}

// ---------------------------------------------------------------- PNG ----
//
// libpng reports errors by longjmp. The functions that call setjmp hold no
// objects with destructors, and everything they allocate is reachable from
// a plain state record that the caller frees.

struct _PngReadState {
    const unsigned char* data;
    size_t size;
    size_t position;
    unsigned char* pixels;  // malloc'd, width * height * 4
    int width;
    int height;
    ImageProperties* properties;
};

void _PngError(png_structp png, png_const_charp) { png_longjmp(png, 1); }
void _PngWarning(png_structp, png_const_charp) {}

void _PngReadData(png_structp png, png_bytep out, png_size_t count) {
    _PngReadState* state = static_cast<_PngReadState*>(png_get_io_ptr(png));
    if (count > state->size - state->position) png_error(png, "unexpected end of file");
    std::memcpy(out, state->data + state->position, count);
    state->position += count;
}

bool _DecodePngCore(_PngReadState* state) {
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, _PngError, _PngWarning);
    if (!png) return false;
    png_infop info = png_create_info_struct(png);
    if (!info) {
        png_destroy_read_struct(&png, nullptr, nullptr);
        return false;
    }
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_read_struct(&png, &info, nullptr);
        return false;
    }
    png_set_read_fn(png, state, _PngReadData);
    png_read_info(png, info);

    png_uint_32 width = 0, height = 0;
    int bitDepth = 0, colorType = 0;
    png_get_IHDR(png, info, &width, &height, &bitDepth, &colorType, nullptr, nullptr, nullptr);
    if (!_CheckDimensions(width, height)) {
        png_destroy_read_struct(&png, &info, nullptr);
        return false;
    }

    // Everything becomes 8-bit red, green, blue, alpha.
    if (colorType == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(png);
    if (colorType == PNG_COLOR_TYPE_GRAY && bitDepth < 8) png_set_expand_gray_1_2_4_to_8(png);
    bool transparency = png_get_valid(png, info, PNG_INFO_tRNS) != 0;
    if (transparency) png_set_tRNS_to_alpha(png);
    if (bitDepth == 16) png_set_scale_16(png);
    if (colorType == PNG_COLOR_TYPE_GRAY || colorType == PNG_COLOR_TYPE_GRAY_ALPHA) png_set_gray_to_rgb(png);
    if (!(colorType & PNG_COLOR_MASK_ALPHA) && !transparency) png_set_add_alpha(png, 0xFF, PNG_FILLER_AFTER);
    int passes = png_set_interlace_handling(png);
    png_read_update_info(png, info);
    if (png_get_rowbytes(png, info) != static_cast<size_t>(width) * 4) {
        png_destroy_read_struct(&png, &info, nullptr);
        return false;
    }

    png_uint_32 resX = 0, resY = 0;
    int unit = 0;
    if (png_get_pHYs(png, info, &resX, &resY, &unit) && unit == PNG_RESOLUTION_METER) {
        if (resX > 0) {
            state->properties->hasDpiX = true;
            state->properties->dpiX = static_cast<float>(resX * 0.0254);
        }
        if (resY > 0) {
            state->properties->hasDpiY = true;
            state->properties->dpiY = static_cast<float>(resY * 0.0254);
        }
    }

    state->width = static_cast<int>(width);
    state->height = static_cast<int>(height);
    state->pixels = static_cast<unsigned char*>(std::malloc(static_cast<size_t>(width) * height * 4));
    if (!state->pixels) {
        png_destroy_read_struct(&png, &info, nullptr);
        return false;
    }
    // Interlaced images are read pass by pass into the same rows.
    for (int pass = 0; pass < passes; ++pass) {
        for (png_uint_32 y = 0; y < height; ++y) {
            png_read_row(png, state->pixels + static_cast<size_t>(y) * width * 4, nullptr);
        }
    }
    png_destroy_read_struct(&png, &info, nullptr);
    return true;
}

std::unique_ptr<DecodedImage> _DecodePng(const std::vector<unsigned char>& bytes) {
    ImageProperties properties;
    _PngReadState state = {bytes.data(), bytes.size(), 0, nullptr, 0, 0, &properties};
    bool ok = _DecodePngCore(&state);
    MallocBuffer pixels(state.pixels);
    if (!ok || !pixels) return nullptr;
    return std::unique_ptr<DecodedImage>(new DecodedImage(state.width, state.height, std::move(pixels), properties));
}

struct _PngWriteState {
    const PixelImage* image;
    unsigned char* row;     // malloc'd, width * 4
    unsigned char* output;  // malloc'd, grows
    size_t outputSize;
    size_t outputCapacity;
};

void _PngWriteData(png_structp png, png_bytep data, png_size_t count) {
    _PngWriteState* state = static_cast<_PngWriteState*>(png_get_io_ptr(png));
    if (count > state->outputCapacity - state->outputSize) {
        size_t capacity = state->outputCapacity ? state->outputCapacity : 4096;
        while (capacity - state->outputSize < count) {
            if (capacity > SIZE_MAX / 2) png_error(png, "out of memory");
            capacity *= 2;
        }
        unsigned char* grown = static_cast<unsigned char*>(std::realloc(state->output, capacity));
        if (!grown) png_error(png, "out of memory");
        state->output = grown;
        state->outputCapacity = capacity;
    }
    std::memcpy(state->output + state->outputSize, data, count);
    state->outputSize += count;
}

void _PngFlush(png_structp) {}

bool _EncodePngCore(_PngWriteState* state) {
    const PixelImage& image = *state->image;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, _PngError, _PngWarning);
    if (!png) return false;
    png_infop info = png_create_info_struct(png);
    if (!info) {
        png_destroy_write_struct(&png, nullptr);
        return false;
    }
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_set_write_fn(png, state, _PngWriteData, _PngFlush);
    png_set_IHDR(png, info, static_cast<png_uint_32>(image.width), static_cast<png_uint_32>(image.height), 8,
                 PNG_COLOR_TYPE_RGB_ALPHA, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    if (_IsUsableDpi(image.dpiX) && _IsUsableDpi(image.dpiY)) {
        double x = std::floor(image.dpiX / 0.0254 + 0.5), y = std::floor(image.dpiY / 0.0254 + 0.5);
        png_uint_32 ppmX = x < 1.0 ? 1 : x > PNG_UINT_31_MAX ? PNG_UINT_31_MAX : static_cast<png_uint_32>(x);
        png_uint_32 ppmY = y < 1.0 ? 1 : y > PNG_UINT_31_MAX ? PNG_UINT_31_MAX : static_cast<png_uint_32>(y);
        png_set_pHYs(png, info, ppmX, ppmY, PNG_RESOLUTION_METER);
    }
    png_write_info(png, info);
    for (int y = 0; y < image.height; ++y) {
        _PremultipliedBgraToRgba(image.data + static_cast<ptrdiff_t>(y) * image.stride, state->row, image.width);
        png_write_row(png, state->row);
    }
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return true;
}

bool _EncodePng(const PixelImage& image, const std::string& path) {
    _PngWriteState state = {&image, nullptr, nullptr, 0, 0};
    state.row = static_cast<unsigned char*>(std::malloc(static_cast<size_t>(image.width) * 4));
    bool ok = state.row && _EncodePngCore(&state);
    ok = ok && _WriteFileBytes(path, state.output, state.outputSize);
    std::free(state.row);
    std::free(state.output);
    return ok;
}

// --------------------------------------------------------------- JPEG ----
//
// libjpeg's fatal errors go through error_exit, which must not return: it
// longjmps back into the function that set it up, which holds no objects
// with destructors.

struct _JpegErrorManager {
    jpeg_error_mgr manager;
    jmp_buf jump;
};

void _JpegErrorExit(j_common_ptr cinfo) {
    _JpegErrorManager* errors = reinterpret_cast<_JpegErrorManager*>(cinfo->err);
    longjmp(errors->jump, 1);
}

void _JpegOutputMessage(j_common_ptr) {}

void _JpegEmitMessage(j_common_ptr cinfo, int level) {
    // libjpeg pads a stream that ends early, or whose entropy data runs
    // into a marker, with zeros and goes on with a warning. Such a file is a
    // failed decode here: else a few bytes could claim, and fill, a huge
    // image.
    if (level < 0 && (cinfo->err->msg_code == JWRN_JPEG_EOF || cinfo->err->msg_code == JWRN_HIT_MARKER)) {
        _JpegErrorExit(cinfo);
    }
}

void _JpegProgressMonitor(j_common_ptr cinfo) {
    if (cinfo->is_decompressor) {
        j_decompress_ptr decompress = reinterpret_cast<j_decompress_ptr>(cinfo);
        if (decompress->input_scan_number > kMaxJpegScans) _JpegErrorExit(cinfo);
    }
}

struct _JpegReadState {
    const unsigned char* data;
    size_t size;
    unsigned char* pixels;  // malloc'd, width * height * 4
    int width;
    int height;
    ImageProperties* properties;
};

void _StoreJfifDensity(const jpeg_decompress_struct& cinfo, ImageProperties& properties) {
    if (!cinfo.saw_JFIF_marker) return;
    double scale = cinfo.density_unit == 1 ? 1.0 : cinfo.density_unit == 2 ? 2.54 : 0.0;
    if (scale == 0.0) return;
    if (cinfo.X_density > 0) {
        properties.hasDpiX = true;
        properties.dpiX = static_cast<float>(cinfo.X_density * scale);
    }
    if (cinfo.Y_density > 0) {
        properties.hasDpiY = true;
        properties.dpiY = static_cast<float>(cinfo.Y_density * scale);
    }
}

bool _DecodeJpegCore(_JpegReadState* state) {
    jpeg_decompress_struct cinfo;
    _JpegErrorManager errors;
    jpeg_progress_mgr progress;
    std::memset(&cinfo, 0, sizeof(cinfo));
    std::memset(&progress, 0, sizeof(progress));
    cinfo.err = jpeg_std_error(&errors.manager);
    errors.manager.error_exit = _JpegErrorExit;
    errors.manager.emit_message = _JpegEmitMessage;
    errors.manager.output_message = _JpegOutputMessage;
    if (setjmp(errors.jump)) {
        jpeg_destroy_decompress(&cinfo);
        return false;
    }
    jpeg_create_decompress(&cinfo);
    progress.progress_monitor = _JpegProgressMonitor;
    cinfo.progress = &progress;
    cinfo.mem->max_memory_to_use = kMaxJpegWorkingMemory;
    jpeg_mem_src(&cinfo, state->data, static_cast<unsigned long>(state->size));
    if (jpeg_read_header(&cinfo, TRUE) != JPEG_HEADER_OK ||
        !_CheckDimensions(cinfo.image_width, cinfo.image_height)) {
        jpeg_destroy_decompress(&cinfo);
        return false;
    }
    _StoreJfifDensity(cinfo, *state->properties);

    // libjpeg has no CMYK to RGB conversion: take the inks and convert below.
    bool cmyk = cinfo.jpeg_color_space == JCS_CMYK || cinfo.jpeg_color_space == JCS_YCCK;
    cinfo.out_color_space = cmyk ? JCS_CMYK : JCS_EXT_RGBA;
    jpeg_start_decompress(&cinfo);
    if (cinfo.output_components != 4 || cinfo.output_width != cinfo.image_width ||
        cinfo.output_height != cinfo.image_height) {
        jpeg_destroy_decompress(&cinfo);
        return false;
    }
    state->width = static_cast<int>(cinfo.output_width);
    state->height = static_cast<int>(cinfo.output_height);
    size_t rowBytes = static_cast<size_t>(state->width) * 4;
    state->pixels = static_cast<unsigned char*>(std::malloc(rowBytes * state->height));
    if (!state->pixels) {
        jpeg_destroy_decompress(&cinfo);
        return false;
    }
    while (cinfo.output_scanline < cinfo.output_height) {
        JSAMPROW row = state->pixels + rowBytes * cinfo.output_scanline;
        if (jpeg_read_scanlines(&cinfo, &row, 1) != 1) {
            jpeg_destroy_decompress(&cinfo);
            return false;
        }
    }
    if (cmyk) {
        // Adobe writes the inks inverted (255 is no ink), which is what
        // nearly every CMYK JPEG carries.
        bool inverted = cinfo.saw_Adobe_marker;
        unsigned char* p = state->pixels;
        for (size_t i = 0, n = static_cast<size_t>(state->width) * state->height; i < n; ++i, p += 4) {
            unsigned int c = p[0], m = p[1], y = p[2], k = p[3];
            if (!inverted) {
                c = 255 - c;
                m = 255 - m;
                y = 255 - y;
                k = 255 - k;
            }
            p[0] = static_cast<unsigned char>((c * k + 127) / 255);
            p[1] = static_cast<unsigned char>((m * k + 127) / 255);
            p[2] = static_cast<unsigned char>((y * k + 127) / 255);
            p[3] = 255;
        }
    }
    jpeg_destroy_decompress(&cinfo);
    return true;
}

std::unique_ptr<DecodedImage> _DecodeJpeg(const std::vector<unsigned char>& bytes) {
    ImageProperties properties;
    _JpegReadState state = {bytes.data(), bytes.size(), nullptr, 0, 0, &properties};
    bool ok = _DecodeJpegCore(&state);
    MallocBuffer pixels(state.pixels);
    if (!ok || !pixels) return nullptr;
    return std::unique_ptr<DecodedImage>(new DecodedImage(state.width, state.height, std::move(pixels), properties));
}

struct _JpegWriteState {
    const PixelImage* image;
    unsigned char* output;  // malloc'd by libjpeg
    unsigned long outputSize;
};

bool _EncodeJpegCore(_JpegWriteState* state) {
    const PixelImage& image = *state->image;
    jpeg_compress_struct cinfo;
    _JpegErrorManager errors;
    std::memset(&cinfo, 0, sizeof(cinfo));
    cinfo.err = jpeg_std_error(&errors.manager);
    errors.manager.error_exit = _JpegErrorExit;
    errors.manager.emit_message = _JpegEmitMessage;
    errors.manager.output_message = _JpegOutputMessage;
    if (setjmp(errors.jump)) {
        jpeg_destroy_compress(&cinfo);
        return false;
    }
    jpeg_create_compress(&cinfo);
    jpeg_mem_dest(&cinfo, &state->output, &state->outputSize);
    cinfo.image_width = static_cast<JDIMENSION>(image.width);
    cinfo.image_height = static_cast<JDIMENSION>(image.height);
    // The memory order of the pixels: blue, green, red, then the alpha
    // byte, which JPEG can't hold and is skipped.
    cinfo.in_color_space = JCS_EXT_BGRX;
    cinfo.input_components = 4;
    jpeg_set_defaults(&cinfo);
    jpeg_set_quality(&cinfo, 90, TRUE);
    if (_IsUsableDpi(image.dpiX) && _IsUsableDpi(image.dpiY)) {
        double x = std::floor(image.dpiX + 0.5), y = std::floor(image.dpiY + 0.5);
        cinfo.write_JFIF_header = TRUE;
        cinfo.density_unit = 1;
        cinfo.X_density = static_cast<UINT16>(x < 1.0 ? 1 : x > 65535.0 ? 65535 : x);
        cinfo.Y_density = static_cast<UINT16>(y < 1.0 ? 1 : y > 65535.0 ? 65535 : y);
    }
    jpeg_start_compress(&cinfo, TRUE);
    while (cinfo.next_scanline < cinfo.image_height) {
        JSAMPROW row = const_cast<unsigned char*>(image.data) + static_cast<ptrdiff_t>(cinfo.next_scanline) * image.stride;
        jpeg_write_scanlines(&cinfo, &row, 1);
    }
    jpeg_finish_compress(&cinfo);
    jpeg_destroy_compress(&cinfo);
    return true;
}

bool _EncodeJpeg(const PixelImage& image, const std::string& path) {
    _JpegWriteState state = {&image, nullptr, 0};
    bool ok = _EncodeJpegCore(&state);
    ok = ok && state.output && _WriteFileBytes(path, state.output, state.outputSize);
    std::free(state.output);
    return ok;
}

// --------------------------------------------------------------- TIFF ----

struct _TiffMemory {
    const unsigned char* data;
    toff_t size;
    toff_t position;
};

tmsize_t _TiffRead(thandle_t handle, void* buffer, tmsize_t count) {
    _TiffMemory* memory = static_cast<_TiffMemory*>(handle);
    if (count <= 0 || memory->position >= memory->size) return 0;
    toff_t available = memory->size - memory->position;
    toff_t n = static_cast<toff_t>(count) < available ? static_cast<toff_t>(count) : available;
    std::memcpy(buffer, memory->data + memory->position, static_cast<size_t>(n));
    memory->position += n;
    return static_cast<tmsize_t>(n);
}

tmsize_t _TiffWrite(thandle_t, void*, tmsize_t) { return -1; }

toff_t _TiffSeek(thandle_t handle, toff_t offset, int whence) {
    _TiffMemory* memory = static_cast<_TiffMemory*>(handle);
    // Offsets wrap like the unsigned file offsets that libtiff hands over.
    switch (whence) {
        case SEEK_SET: memory->position = offset; break;
        case SEEK_CUR: memory->position += offset; break;
        case SEEK_END: memory->position = memory->size + offset; break;
        default: return static_cast<toff_t>(-1);
    }
    return memory->position;
}

int _TiffClose(thandle_t) { return 0; }
toff_t _TiffSize(thandle_t handle) { return static_cast<_TiffMemory*>(handle)->size; }
int _TiffMap(thandle_t, void**, toff_t*) { return 0; }
void _TiffUnmap(thandle_t, void*, toff_t) {}

int _TiffQuietHandler(TIFF*, void*, const char*, const char*, va_list) { return 1; }

TIFFOpenOptions* _CreateTiffOptions() {
    TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
    if (!options) return nullptr;
    TIFFOpenOptionsSetMaxSingleMemAlloc(options, kMaxTiffAllocation);
    TIFFOpenOptionsSetErrorHandlerExtR(options, _TiffQuietHandler, nullptr);
    TIFFOpenOptionsSetWarningHandlerExtR(options, _TiffQuietHandler, nullptr);
    return options;
}

struct _TiffCloser {
    TIFF* tiff;
    ~_TiffCloser() { TIFFClose(tiff); }
};

void _StoreTiffResolution(TIFF* tiff, ImageProperties& properties) {
    uint16_t unit = RESUNIT_INCH;
    TIFFGetFieldDefaulted(tiff, TIFFTAG_RESOLUTIONUNIT, &unit);
    double scale = unit == RESUNIT_INCH ? 1.0 : unit == RESUNIT_CENTIMETER ? 2.54 : 0.0;
    if (scale == 0.0) return;
    float x = 0.0f, y = 0.0f;
    if (TIFFGetField(tiff, TIFFTAG_XRESOLUTION, &x) && std::isfinite(x) && x > 0.0f) {
        float dpi = static_cast<float>(x * scale);
        if (_IsUsableDpi(dpi)) {
            properties.hasDpiX = true;
            properties.dpiX = dpi;
        }
    }
    if (TIFFGetField(tiff, TIFFTAG_YRESOLUTION, &y) && std::isfinite(y) && y > 0.0f) {
        float dpi = static_cast<float>(y * scale);
        if (_IsUsableDpi(dpi)) {
            properties.hasDpiY = true;
            properties.dpiY = dpi;
        }
    }
}

// Strips of 8-bit samples, interleaved, in gray, palette or RGB with an
// optional alpha: read row by row, keeping straight alpha as it is. Returns
// false when the layout is not one of these; sets failed when it is but the
// data is bad.
bool _ReadTiffScanlines(TIFF* tiff, int width, int height, unsigned char* pixels, bool& failed) {
    failed = false;
    uint16_t bitsPerSample = 1, samplesPerPixel = 1, planar = PLANARCONFIG_CONTIG, sampleFormat = SAMPLEFORMAT_UINT;
    uint16_t photometric = 0;
    TIFFGetFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &bitsPerSample);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &samplesPerPixel);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_PLANARCONFIG, &planar);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLEFORMAT, &sampleFormat);
    if (TIFFIsTiled(tiff) || bitsPerSample != 8 || planar != PLANARCONFIG_CONTIG || sampleFormat != SAMPLEFORMAT_UINT ||
        !TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &photometric)) {
        return false;
    }
    int colorChannels;
    switch (photometric) {
        case PHOTOMETRIC_MINISBLACK:
        case PHOTOMETRIC_MINISWHITE:
        case PHOTOMETRIC_PALETTE: colorChannels = 1; break;
        case PHOTOMETRIC_RGB: colorChannels = 3; break;
        default: return false;
    }
    if (samplesPerPixel < colorChannels) return false;

    uint16_t extraCount = 0;
    uint16_t* extraTypes = nullptr;
    TIFFGetFieldDefaulted(tiff, TIFFTAG_EXTRASAMPLES, &extraCount, &extraTypes);
    bool alpha = false, associated = false;
    if (samplesPerPixel > colorChannels) {
        if (extraCount > 0 && extraTypes) {
            alpha = extraTypes[0] == EXTRASAMPLE_ASSOCALPHA || extraTypes[0] == EXTRASAMPLE_UNASSALPHA;
            associated = extraTypes[0] == EXTRASAMPLE_ASSOCALPHA;
        } else if (extraCount == 0 && photometric == PHOTOMETRIC_RGB && samplesPerPixel == 4) {
            // Four samples of RGB without a word on the fourth: taken as
            // associated alpha, as libtiff's own reader does.
            alpha = true;
            associated = true;
        }
    }

    uint16_t *mapRed = nullptr, *mapGreen = nullptr, *mapBlue = nullptr;
    int mapShift = 0;
    if (photometric == PHOTOMETRIC_PALETTE) {
        if (!TIFFGetField(tiff, TIFFTAG_COLORMAP, &mapRed, &mapGreen, &mapBlue) || !mapRed || !mapGreen || !mapBlue) {
            failed = true;
            return true;
        }
        // Some writers store 8-bit values in the 16-bit colormap.
        mapShift = 0;
        for (int i = 0; i < 256; ++i) {
            if (mapRed[i] >= 256 || mapGreen[i] >= 256 || mapBlue[i] >= 256) {
                mapShift = 8;
                break;
            }
        }
    }

    tmsize_t scanlineSize = TIFFScanlineSize(tiff);
    if (scanlineSize < static_cast<tmsize_t>(width) * samplesPerPixel) {
        failed = true;
        return true;
    }
    std::vector<unsigned char> line;
    try {
        line.resize(static_cast<size_t>(scanlineSize));
    } catch (const std::exception&) {
        failed = true;
        return true;
    }
    for (int y = 0; y < height; ++y) {
        if (TIFFReadScanline(tiff, line.data(), static_cast<uint32_t>(y), 0) < 0) {
            failed = true;
            return true;
        }
        const unsigned char* s = line.data();
        unsigned char* d = pixels + static_cast<size_t>(y) * width * 4;
        for (int x = 0; x < width; ++x, s += samplesPerPixel, d += 4) {
            switch (photometric) {
                case PHOTOMETRIC_MINISBLACK: d[0] = d[1] = d[2] = s[0]; break;
                case PHOTOMETRIC_MINISWHITE: d[0] = d[1] = d[2] = static_cast<unsigned char>(255 - s[0]); break;
                case PHOTOMETRIC_PALETTE:
                    d[0] = static_cast<unsigned char>(mapRed[s[0]] >> mapShift);
                    d[1] = static_cast<unsigned char>(mapGreen[s[0]] >> mapShift);
                    d[2] = static_cast<unsigned char>(mapBlue[s[0]] >> mapShift);
                    break;
                default:
                    d[0] = s[0];
                    d[1] = s[1];
                    d[2] = s[2];
                    break;
            }
            d[3] = alpha ? s[colorChannels] : 255;
        }
    }
    if (associated) _UnpremultiplyRgba(pixels, static_cast<size_t>(width) * height);
    return true;
}

std::unique_ptr<DecodedImage> _DecodeTiff(const std::vector<unsigned char>& bytes) {
    _TiffMemory memory = {bytes.data(), static_cast<toff_t>(bytes.size()), 0};
    TIFFOpenOptions* options = _CreateTiffOptions();
    if (!options) return nullptr;
    TIFF* tiff = TIFFClientOpenExt("image", "rm", &memory, _TiffRead, _TiffWrite, _TiffSeek, _TiffClose, _TiffSize,
                                   _TiffMap, _TiffUnmap, options);
    TIFFOpenOptionsFree(options);
    if (!tiff) return nullptr;
    _TiffCloser closer = {tiff};

    uint32_t width = 0, height = 0;
    if (!TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &width) || !TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &height) ||
        !_CheckDimensions(width, height)) {
        return nullptr;
    }
    ImageProperties properties;
    _StoreTiffResolution(tiff, properties);
    MallocBuffer pixels = _AllocPixels(static_cast<int>(width), static_cast<int>(height));
    if (!pixels) return nullptr;

    bool failed = false;
    if (!_ReadTiffScanlines(tiff, static_cast<int>(width), static_cast<int>(height), pixels.get(), failed)) {
        // Every other layout goes through libtiff's RGBA reader, which
        // premultiplies any alpha; it is undone below. Rows come in the
        // order of the file whatever its orientation tag says, as in the
        // scanline path.
        char message[1024];
        if (!TIFFRGBAImageOK(tiff, message)) return nullptr;
        uint16_t orientation = ORIENTATION_TOPLEFT;
        TIFFGetFieldDefaulted(tiff, TIFFTAG_ORIENTATION, &orientation);
        uint32_t* raster = reinterpret_cast<uint32_t*>(pixels.get());
        if (!TIFFReadRGBAImageOriented(tiff, width, height, raster, orientation, 1)) return nullptr;
        unsigned char* p = pixels.get();
        for (size_t i = 0, n = static_cast<size_t>(width) * height; i < n; ++i, p += 4) {
            uint32_t v = raster[i];
            p[0] = static_cast<unsigned char>(TIFFGetR(v));
            p[1] = static_cast<unsigned char>(TIFFGetG(v));
            p[2] = static_cast<unsigned char>(TIFFGetB(v));
            p[3] = static_cast<unsigned char>(TIFFGetA(v));
        }
        _UnpremultiplyRgba(pixels.get(), static_cast<size_t>(width) * height);
    } else if (failed) {
        return nullptr;
    }
    return std::unique_ptr<DecodedImage>(
        new DecodedImage(static_cast<int>(width), static_cast<int>(height), std::move(pixels), properties));
}

bool _EncodeTiff(const PixelImage& image, const std::string& path) {
    TIFFOpenOptions* options = _CreateTiffOptions();
    if (!options) return false;
    TIFF* tiff = TIFFOpenExt(path.c_str(), "w", options);
    TIFFOpenOptionsFree(options);
    if (!tiff) return false;

    bool ok = true;
    {
        _TiffCloser closer = {tiff};
        uint16_t extra[1] = {EXTRASAMPLE_UNASSALPHA};
        ok = TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(image.width)) &&
             TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(image.height)) &&
             TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8) && TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 4) &&
             TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB) &&
             TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) &&
             TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, extra) &&
             TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_LZW) &&
             TIFFSetField(tiff, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT) &&
             TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(tiff, 0));
        if (ok && _IsUsableDpi(image.dpiX) && _IsUsableDpi(image.dpiY)) {
            ok = TIFFSetField(tiff, TIFFTAG_XRESOLUTION, image.dpiX) &&
                 TIFFSetField(tiff, TIFFTAG_YRESOLUTION, image.dpiY) &&
                 TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
        }
        if (ok) {
            try {
                std::vector<unsigned char> row(static_cast<size_t>(image.width) * 4);
                for (int y = 0; ok && y < image.height; ++y) {
                    _PremultipliedBgraToRgba(image.data + static_cast<ptrdiff_t>(y) * image.stride, row.data(),
                                             image.width);
                    ok = TIFFWriteScanline(tiff, row.data(), static_cast<uint32_t>(y), 0) >= 0;
                }
            } catch (const std::exception&) {
                ok = false;
            }
        }
        ok = ok && TIFFFlush(tiff);
    }
    if (!ok) std::remove(path.c_str());
    return ok;
}

// ---------------------------------------------------------------- BMP ----

inline uint32_t _Read32(const unsigned char* p) {
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) | (static_cast<uint32_t>(p[2]) << 16) |
           (static_cast<uint32_t>(p[3]) << 24);
}
inline uint16_t _Read16(const unsigned char* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }

inline void _Write32(unsigned char* p, uint32_t v) {
    p[0] = static_cast<unsigned char>(v);
    p[1] = static_cast<unsigned char>(v >> 8);
    p[2] = static_cast<unsigned char>(v >> 16);
    p[3] = static_cast<unsigned char>(v >> 24);
}

// stb reads past the end of a BMP as zeros and takes palette entries the
// file never gave from uninitialised memory: a header that doesn't fit the
// file, pixel data cut short, or an index beyond the palette is refused
// here, before stb sees the file.
bool _CheckBmp(const std::vector<unsigned char>& bytes, ImageProperties& properties) {
    const unsigned char* b = bytes.data();
    size_t size = bytes.size();
    if (size < 26) return false;
    uint32_t offset = _Read32(b + 10);
    uint32_t headerSize = _Read32(b + 14);
    if (headerSize != 12 && headerSize != 40 && headerSize != 56 && headerSize != 108 && headerSize != 124) return false;
    if (size < 14 + static_cast<size_t>(headerSize)) return false;

    long long width, height;
    unsigned int bitsPerPixel, compression = 0;
    if (headerSize == 12) {
        width = _Read16(b + 18);
        height = _Read16(b + 20);
        if (_Read16(b + 22) != 1) return false;
        bitsPerPixel = _Read16(b + 24);
    } else {
        width = static_cast<int32_t>(_Read32(b + 18));
        height = static_cast<int32_t>(_Read32(b + 22));
        if (_Read16(b + 26) != 1) return false;
        bitsPerPixel = _Read16(b + 28);
        compression = _Read32(b + 30);
        int32_t ppmX = static_cast<int32_t>(_Read32(b + 38));
        int32_t ppmY = static_cast<int32_t>(_Read32(b + 42));
        if (ppmX > 0) {
            properties.hasDpiX = true;
            properties.dpiX = static_cast<float>(ppmX * 0.0254);
        }
        if (ppmY > 0) {
            properties.hasDpiY = true;
            properties.dpiY = static_cast<float>(ppmY * 0.0254);
        }
    }
    if (bitsPerPixel != 1 && bitsPerPixel != 4 && bitsPerPixel != 8 && bitsPerPixel != 16 && bitsPerPixel != 24 &&
        bitsPerPixel != 32) {
        return false;
    }
    if (compression != 0 && !(compression == 3 && (bitsPerPixel == 16 || bitsPerPixel == 32))) return false;
    if (height < 0) height = -height;  // top-down rows
    if (!_CheckDimensions(static_cast<unsigned long long>(width < 0 ? 0 : width), static_cast<unsigned long long>(height))) {
        return false;
    }

    unsigned long long headerEnd = 14ull + headerSize;
    if ((headerSize == 40 || headerSize == 56) && compression == 3) headerEnd += 12;  // the three masks
    if (offset < headerEnd) return false;
    unsigned long long rowBytes = (static_cast<unsigned long long>(width) * bitsPerPixel + 31) / 32 * 4;
    if (offset + rowBytes * height > size) return false;

    if (bitsPerPixel < 16) {
        long long entries = headerSize == 12 ? (static_cast<long long>(offset) - 38) / 3
                                             : (static_cast<long long>(offset) - 14 - headerSize) / 4;
        if (entries < 1 || entries > 256) return false;
        for (long long y = 0; y < height; ++y) {
            const unsigned char* row = b + offset + y * rowBytes;
            for (long long x = 0; x < width; ++x) {
                unsigned int index;
                if (bitsPerPixel == 8) {
                    index = row[x];
                } else if (bitsPerPixel == 4) {
                    index = (row[x >> 1] >> ((x & 1) ? 0 : 4)) & 15;
                } else {
                    index = (row[x >> 3] >> (7 - (x & 7))) & 1;
                }
                if (index >= entries) return false;
            }
        }
    }
    return true;
}

std::unique_ptr<DecodedImage> _DecodeBmp(const std::vector<unsigned char>& bytes) {
    ImageProperties properties;
    if (bytes.size() > static_cast<size_t>(INT_MAX) || !_CheckBmp(bytes, properties)) return nullptr;
    int width = 0, height = 0, components = 0;
    MallocBuffer pixels(stbi_load_from_memory(bytes.data(), static_cast<int>(bytes.size()), &width, &height,
                                              &components, 4));
    if (!pixels || !_CheckDimensions(static_cast<unsigned long long>(width), static_cast<unsigned long long>(height))) {
        return nullptr;
    }
    return std::unique_ptr<DecodedImage>(new DecodedImage(width, height, std::move(pixels), properties));
}

void _AppendBytes(void* context, void* data, int size) {
    std::vector<unsigned char>* out = static_cast<std::vector<unsigned char>*>(context);
    const unsigned char* p = static_cast<const unsigned char*>(data);
    if (size > 0) out->insert(out->end(), p, p + size);
}

bool _EncodeBmp(const PixelImage& image, const std::string& path) {
    // stb writes a 32-bit file with alpha, the whole image at once, and
    // leaves the resolution at zero.
    unsigned long long pixelBytes = static_cast<unsigned long long>(image.width) * image.height * 4;
    if (pixelBytes + 14 + 108 > static_cast<unsigned long long>(INT_MAX)) return false;
    try {
        std::vector<unsigned char> rgba(static_cast<size_t>(pixelBytes));
        for (int y = 0; y < image.height; ++y) {
            _PremultipliedBgraToRgba(image.data + static_cast<ptrdiff_t>(y) * image.stride,
                                     rgba.data() + static_cast<size_t>(y) * image.width * 4, image.width);
        }
        std::vector<unsigned char> file;
        file.reserve(static_cast<size_t>(pixelBytes) + 14 + 108);
        if (!stbi_write_bmp_to_func(_AppendBytes, &file, image.width, image.height, 4, rgba.data())) return false;
        if (file.size() < 14 + 40) return false;
        if (_IsUsableDpi(image.dpiX) && _IsUsableDpi(image.dpiY)) {
            double x = std::floor(image.dpiX / 0.0254 + 0.5), y = std::floor(image.dpiY / 0.0254 + 0.5);
            _Write32(file.data() + 38, static_cast<uint32_t>(x < 1.0 ? 1.0 : x > INT_MAX ? INT_MAX : x));
            _Write32(file.data() + 42, static_cast<uint32_t>(y < 1.0 ? 1.0 : y > INT_MAX ? INT_MAX : y));
        }
        return _WriteFileBytes(path, file.data(), file.size());
    } catch (const std::exception&) {
        return false;
    }
}

}  // namespace

// ------------------------------------------------------------ classes ----

DecodedImage::DecodedImage(int width, int height, MallocBuffer pixels, const ImageProperties& properties)
    : width(width), height(height), pixels(std::move(pixels)), properties(properties) {}

MallocBuffer DecodedImage::TakeData(unsigned long& length) {
    length = pixels ? static_cast<unsigned long>(width) * height * 4 : 0;
    return std::move(pixels);
}

ImageSource::ImageSource(ContainerType type, std::vector<unsigned char> bytes) : type(type), bytes(std::move(bytes)) {}

std::unique_ptr<ImageSource> ImageSource::CreateWithPath(const std::string& path) {
    std::vector<unsigned char> bytes;
    ContainerType type;
    if (path.empty() || !_ReadWholeFile(path, bytes) || !_RecogniseType(bytes, type)) return nullptr;
    return std::unique_ptr<ImageSource>(new ImageSource(type, std::move(bytes)));
}

std::unique_ptr<DecodedImage> ImageSource::CreateImage() const {
    try {
        switch (type) {
            case ContainerType::Png: return _DecodePng(bytes);
            case ContainerType::Jpeg: return _DecodeJpeg(bytes);
            case ContainerType::Tiff: return _DecodeTiff(bytes);
            case ContainerType::Bmp: return _DecodeBmp(bytes);
        }
    } catch (const std::exception&) {
    }
    return nullptr;
}

std::unique_ptr<ImageDestination> ImageDestination::CreateWithPath(const std::string& path, EncoderType type) {
    if (type == EncoderType::Generic || path.empty()) return nullptr;
    return std::unique_ptr<ImageDestination>(new ImageDestination(path, type));
}

void ImageDestination::AddImage(const PixelImage& pixels) {
    image = pixels;
    hasImage = true;
}

bool ImageDestination::Finalize() {
    if (!hasImage || !image.data || image.width < 1 || image.height < 1 || image.stride < static_cast<long long>(image.width) * 4) {
        return false;
    }
    switch (type) {
        case EncoderType::Png: return _EncodePng(image, path);
        case EncoderType::Jpeg: return _EncodeJpeg(image, path);
        case EncoderType::Tiff: return _EncodeTiff(image, path);
        case EncoderType::Bmp: return _EncodeBmp(image, path);
        case EncoderType::Generic: break;
    }
    return false;
}

}  // namespace ImageCodecs
}  // namespace Graphics
