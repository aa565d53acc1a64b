// Pixel-level work of the bitmap layer: row conversions on a 512 x 600
// canvas, and clearing that canvas, side by side with Cairo and AGG on the
// same memory.

#include <Graphics/Graphics.h>
#include <Graphics/RenderTarget.h>

#include "bitmap/PixelConversion.h"

#include <agg_pixfmt_rgba.h>
#include <agg_renderer_base.h>
#include <agg_rendering_buffer.h>
#include <benchmark/benchmark.h>
#include <cairo.h>

#include <cstdint>
#include <random>
#include <vector>

using namespace Graphics;

namespace {

constexpr int kWidth = 512;
constexpr int kHeight = 600;

std::vector<uint32_t> RandomWords(size_t n) {
    std::mt19937 rng(1234);
    std::vector<uint32_t> v(n);
    for (auto& w : v) w = rng();
    return v;
}

void RunConversion(benchmark::State& state, PixelFormat::Enum from, PixelFormat::Enum to) {
    const auto source = RandomWords(kWidth * kHeight);
    std::vector<uint8_t> destination(static_cast<size_t>(kWidth) * kHeight * 4 + 16);
    const PixelConverter converter(from, to);
    const int outBytes = (kWidth * PixelFormat::GetBitsPerPixel(to) + 7) / 8;
    for (auto _ : state) {
        for (int y = 0; y < kHeight; ++y)
            converter.Convert(source.data() + y * kWidth, destination.data() + static_cast<size_t>(y) * outBytes,
                              kWidth);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}

void BM_Convert_Premultiply(benchmark::State& s) { RunConversion(s, PixelFormat::ARGB8, PixelFormat::ARGB8p); }
void BM_Convert_Unpremultiply(benchmark::State& s) { RunConversion(s, PixelFormat::ARGB8p, PixelFormat::ARGB8); }
void BM_Convert_GrayL8(benchmark::State& s) { RunConversion(s, PixelFormat::XRGB8, PixelFormat::L8); }
void BM_Convert_ThresholdL1(benchmark::State& s) { RunConversion(s, PixelFormat::XRGB8, PixelFormat::L1); }
void BM_Convert_RGB8ToXRGB8(benchmark::State& s) { RunConversion(s, PixelFormat::RGB8, PixelFormat::XRGB8); }
BENCHMARK(BM_Convert_Premultiply);
BENCHMARK(BM_Convert_Unpremultiply);
BENCHMARK(BM_Convert_GrayL8);
BENCHMARK(BM_Convert_ThresholdL1);
BENCHMARK(BM_Convert_RGB8ToXRGB8);

// Clearing a 512 x 600 ARGB8p canvas with a translucent colour: a whole
// paint cycle on our side, a SOURCE paint for Cairo, clear() for AGG.
void BM_Clear_Graphics(benchmark::State& state) {
    auto bitmap = std::make_shared<Bitmap>(Size<int>(kWidth, kHeight), PixelFormat::ARGB8p, 96.0f, 96.0f);
    BitmapRenderTarget target(bitmap);
    for (auto _ : state) {
        target.BeginPaint();
        target.Clear(0x80336699u);
        target.EndPaint();
    }
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}

void BM_Clear_Cairo(benchmark::State& state) {
    auto bitmap = std::make_shared<Bitmap>(Size<int>(kWidth, kHeight), PixelFormat::ARGB8p, 96.0f, 96.0f);
    LockedData l = bitmap->Lock(nullptr, LockMode::ReadWrite);
    cairo_surface_t* surface = cairo_image_surface_create_for_data(static_cast<unsigned char*>(l.data),
                                                                   CAIRO_FORMAT_ARGB32, kWidth, kHeight, l.stride);
    cairo_t* cr = cairo_create(surface);
    for (auto _ : state) {
        cairo_set_operator(cr, CAIRO_OPERATOR_SOURCE);
        cairo_set_source_rgba(cr, 0x33 / 255.0, 0x66 / 255.0, 0x99 / 255.0, 0x80 / 255.0);
        cairo_paint(cr);
        cairo_surface_flush(surface);
    }
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
    bitmap->Unlock();
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}

void BM_Clear_AGG(benchmark::State& state) {
    auto bitmap = std::make_shared<Bitmap>(Size<int>(kWidth, kHeight), PixelFormat::ARGB8p, 96.0f, 96.0f);
    LockedData l = bitmap->Lock(nullptr, LockMode::ReadWrite);
    agg::rendering_buffer buffer(static_cast<agg::int8u*>(l.data), kWidth, kHeight, l.stride);
    agg::pixfmt_bgra32_pre pixf(buffer);
    agg::renderer_base<agg::pixfmt_bgra32_pre> renderer(pixf);
    for (auto _ : state) {
        renderer.clear(agg::rgba8(0x33, 0x66, 0x99, 0x80).premultiply());
        benchmark::ClobberMemory();
    }
    bitmap->Unlock();
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}
BENCHMARK(BM_Clear_Graphics);
BENCHMARK(BM_Clear_Cairo);
BENCHMARK(BM_Clear_AGG);

}  // namespace

BENCHMARK_MAIN();
