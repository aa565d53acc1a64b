#pragma once

#include <climits>
#include <cstdint>
#include <memory>
#include <vector>

#include "Graphics/Bitmap.h"
#include "Graphics/Types.h"
#include "sw/SwColorSource.h"
#include "sw/SwExtend.h"

namespace Graphics {

// Reads a bitmap of any pixel format under an affine matrix and delivers
// premultiplied ARGB words with the opacity applied.
//
// The matrix takes a surface pixel to a source position whose integer values
// are source pixel centres. One sampling routine is chosen at construction
// from the pixel format, the interpolation mode and the extend modes; the
// span loop calls it with no format test inside. Scaling down in high
// quality averages exact boxes of a virtual reduced image, computed again
// for every sample and never stored.
//
// The bitmap stays locked for reading from construction to destruction.
class SwBitmapSampler : public SwColorSource {
public:
    typedef unsigned int (SwBitmapSampler::*SampleProc)(const Point<float>& position) const;

    // The source pixels that make up one reduced pixel along one axis: start
    // and end are weighted by startWeight and endWeight, the pixels strictly
    // between by the filter's full scale. Weights are 16.16 fixed point.
    struct FilterRange {
        int start = 0;
        int end = 0;
        int count = 0;  // end - start as first computed
        unsigned int startWeight = 0;
        unsigned int endWeight = 0;
    };

    // A box filter from sourceSize down to reducedSize, one range per
    // reduced column and row.
    class Filter {
    public:
        Filter(const Size<int>& sourceSize, const Size<int>& reducedSize);

        float ratioX = 1.0f;  // source pixels per reduced pixel
        float ratioY = 1.0f;
        int scaleX = 0;  // 16.16 weight of a fully covered source pixel
        int scaleY = 0;
        std::unique_ptr<FilterRange[]> rangesX;
        std::unique_ptr<FilterRange[]> rangesY;
    };

    // Which family of routines was chosen.
    enum Sampling {
        SamplingNone,  // nothing to read (no bitmap, no pixels): transparent black
        SamplingNearest,
        SamplingLinear,
        SamplingHighQuality,   // box average, nearest reduced pixel
        SamplingHighQualityL,  // box average, four reduced pixels interpolated
    };

    // Raises "Not implemented" for a pixel format outside 1..10.
    SwBitmapSampler(std::shared_ptr<BitmapSource> source, ExtendMode::Enum extendX, ExtendMode::Enum extendY,
                    InterpolationMode::Enum mode, float opacity, const Matrix& matrix);
    ~SwBitmapSampler() override;
    SwBitmapSampler(const SwBitmapSampler&) = delete;
    SwBitmapSampler& operator=(const SwBitmapSampler&) = delete;

    void FillSpan(int x0, int x1, int y, unsigned char* destination) override;
    // ARGB8p images at full opacity, drawn at unit scale on whole pixels
    // without rotation, where the span lies wholly inside the image.
    const uint32_t* SpanWords(int x0, int x1, int y) override;
    // Rows of an axis-aligned matrix: lone columns as one sample per row, and
    // longer spans, where the step across is not one, through one column
    // table for all the rows.
    bool FillRows(int x0, int x1, int y0, int rows, unsigned char* destination, std::ptrdiff_t stride,
                  const void* avoidBegin, const void* avoidEnd) override;
    // Counts x0 as a start already seen, so that the first span from it
    // gets a column table.
    void ExpectSpans(int x0, int x1) override;

    // One delivered word for a source position (after the reduction's
    // change of matrix, when there is one).
    unsigned int Sample(const Point<float>& position) const { return (this->*sampleProc)(position); }

    const Matrix& GetMatrix() const { return matrix; }
    // The size the routines address: the bitmap's, or the reduced size.
    Size<int> GetSampledSize() const { return Size<int>(width, height); }
    const Filter* GetFilter() const { return filter.get(); }
    Sampling GetSampling() const { return sampling; }
    int GetOpacity() const { return opacity; }

private:
    // The column tables of SpanAxisTable: for span pixel i, the first and
    // second columns read (the second equal to the first where the x weight
    // is 0) and the x weight. A table serves spans starting at x0 no longer
    // than count; usable is false when building it met a weight outside
    // 0..255. A shape's rows usually start at a few places (edge pixels,
    // then the interior), hence several tables, replaced in turn.
    // The three rows share one allocation.
    struct ColumnTable {
        std::vector<int32_t> storage;
        int32_t* a = nullptr;
        int32_t* b = nullptr;
        int32_t* weight = nullptr;
        int x0 = 0;
        int count = 0;
        bool usable = false;
        // How many entries from the first hold consecutive columns,
        // a[i] = a[0] + i, and for linear tables b[i] = a[i] + 1 as well.
        int consecutive = 0;
    };

    typedef void (SwBitmapSampler::*SpanProc)(int x0, int x1, int y, unsigned char* destination) const;
    typedef const uint32_t* (SwBitmapSampler::*WordsProc)(int x0, int x1, int y) const;
    typedef bool (SwBitmapSampler::*RowsProc)(int x0, int x1, int y0, int rows, unsigned char* destination,
                                              std::ptrdiff_t stride) const;

    // The routines are templates over a pixel format's reading and
    // conversion (P, defined in the source file) and, for the nearest and
    // linear forms, over the extend functions, so that they inline.
    void SelectSampleProc(PixelFormat::Enum format, InterpolationMode::Enum mode, ExtendMode::Enum modeX,
                          ExtendMode::Enum modeY);
    template <class P>
    void SelectSampleProc(InterpolationMode::Enum mode, ExtendMode::Enum modeX, ExtendMode::Enum modeY);
    template <class P, bool Linear>
    void SelectExtended(ExtendMode::Enum modeX, ExtendMode::Enum modeY);
    template <class P, bool Linear, SwExtend::Proc ExtendX>
    void SelectExtendedY(ExtendMode::Enum modeY);
    template <class P, bool Linear, SwExtend::Proc ExtendX, SwExtend::Proc ExtendY>
    void SelectRoutine();
    template <SampleProc Proc>
    void Use(Sampling kind);
    bool ReduceForHighQuality();

    template <SampleProc Proc>
    void SpanLoop(int x0, int x1, int y, unsigned char* destination) const;
    // The same results for a matrix without rotation or shear (m12 zero):
    // the row and the y weight are chosen once per span, and when the
    // accumulated x positions are provably exact they are computed four at
    // a time.
    template <class P, bool Linear, SwExtend::Proc ExtendX, SwExtend::Proc ExtendY>
    void SpanAxis(int x0, int x1, int y, unsigned char* destination) const;
    template <class P, bool Linear, SwExtend::Proc ExtendX, SwExtend::Proc ExtendY>
    void SpanAxisRun(int i0, int i1, float px, float py, unsigned char* destination) const;
    // When x does not depend on y (m21 zero as well), the columns and x
    // weights of a span starting at x0 are the same on every row: they are
    // worked out once, by the same accumulation, and reused while spans
    // keep starting there. Returns false where the table cannot stand in
    // (no finite weights) or is not worth building yet (a start not seen
    // before), the caller then taking the general route.
    template <class P, bool Linear, SwExtend::Proc ExtendX, SwExtend::Proc ExtendY>
    bool SpanAxisTable(int x0, int count, float px, float py, unsigned char* destination) const;
    // The span of count pixels through a table, on the row of py.
    template <class P, bool Linear, SwExtend::Proc ExtendX, SwExtend::Proc ExtendY>
    void SpanFromTable(const ColumnTable& table, int count, float py, unsigned char* destination) const;
    // The bilinear part of it, once the rows and the weight of py are known.
    template <class P>
    void LinearFromTable(const ColumnTable& table, int count, const unsigned char* row0, const unsigned char* row1,
                         uint32_t wy, unsigned char* destination) const;
    // The rows a bilinear sample at height py reads, and the weight of the
    // lower one, which is the upper one again where that weight is 0.
    template <SwExtend::Proc ExtendY>
    uint32_t LinearRows(float py, const unsigned char** upper, const unsigned char** lower) const;
    // FillRows for the matrices of SpanAxis: where every row of the span
    // would take the table route, the table is found once.
    template <class P, bool Linear, SwExtend::Proc ExtendX, SwExtend::Proc ExtendY>
    bool SpanAxisRows(int x0, int x1, int y0, int rows, unsigned char* destination, std::ptrdiff_t stride) const;
    template <bool Linear, SwExtend::Proc ExtendX>
    const ColumnTable* BuildColumnTable(int x0, int count, float px) const;
    // A table built before for spans starting at x0, at least count long,
    // usable or not.
    const ColumnTable* FindColumnTable(int x0, int count) const;
    // Where a span of count pixels from position (px, py) reads whole
    // columns at a unit step on one row: the row, the first column k, and
    // the span's part [inside0, inside1) inside the image.
    struct UnitRun {
        const unsigned char* row;
        int k;
        int inside0;
        int inside1;
    };
    template <bool Linear, SwExtend::Proc ExtendY>
    bool FindUnitRun(int count, float px, float py, UnitRun* run) const;
    // SpanWords for the routines of SpanAxis over ARGB8p.
    template <bool Linear, SwExtend::Proc ExtendX, SwExtend::Proc ExtendY>
    const uint32_t* SpanWordsAxis(int x0, int x1, int y) const;

    unsigned int SampleNone(const Point<float>& position) const;
    template <class P, SwExtend::Proc ExtendX, SwExtend::Proc ExtendY>
    unsigned int SampleNearest(const Point<float>& position) const;
    template <class P, SwExtend::Proc ExtendX, SwExtend::Proc ExtendY>
    unsigned int SampleLinear(const Point<float>& position) const;
    template <class P>
    unsigned int SampleHighQuality(const Point<float>& position) const;
    template <class P>
    unsigned int SampleHighQualityL(const Point<float>& position) const;

    // Box average of reduced pixel (x, y), in the format's interpolation
    // space; ResampleX sums one source row. Channels are packed eight bits
    // each, as in a colour word.
    template <class P>
    uint32_t Resample(int x, int y) const;
    template <class P>
    uint32_t ResampleX(const FilterRange& range, const unsigned char* row) const;

    const unsigned char* GetRowPointer(int y) const {
        return static_cast<const unsigned char*>(locked.data) + static_cast<ptrdiff_t>(y) * locked.stride;
    }

    SampleProc sampleProc = &SwBitmapSampler::SampleNone;
    SpanProc spanProc = nullptr;
    WordsProc wordsProc = nullptr;
    RowsProc rowsProc = nullptr;
    Matrix matrix;
    std::shared_ptr<BitmapBase> bitmap;
    std::shared_ptr<Palette> palette;
    LockedData locked;
    int opacity = 256;
    int width = 0;
    int height = 0;
    SwExtend::Proc extendX = &SwExtend::Clamp;
    SwExtend::Proc extendY = &SwExtend::Clamp;
    std::unique_ptr<Filter> filter;
    Sampling sampling = SamplingNone;
    // The palette as read by the indexed formats, padded with transparent
    // black so that no index byte can read past it. Other formats never read
    // it, so only indexed formats have one: the sampler then stays small
    // enough for the allocator's fast path, made as it is for every fill.
    std::unique_ptr<uint32_t[]> paletteColors;
    static constexpr int kColumnTables = 4;
    mutable ColumnTable columnTables[kColumnTables];
    mutable int columnTableNext = 0;
    // Starts of recent spans that had no table, so that a table is built
    // only for a start that comes back.
    mutable int columnStartsSeen[kColumnTables] = {INT_MIN, INT_MIN, INT_MIN, INT_MIN};
    // The spans announced by ExpectSpans, whose tables need no room to grow.
    int expectedX0 = INT_MIN;
    int expectedCount = 0;
    mutable int columnStartNext = 0;
};

}  // namespace Graphics
