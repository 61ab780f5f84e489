// The krtes render command: the picture read back with GDAL.
#ifdef KRTES_HAVE_GDAL
#include <gdal_priv.h>

#include "tools/KrtesToolTest.h"

using namespace krtes_test;

namespace {

struct Png {
    int w = 0, h = 0;
    std::vector<unsigned char> px;  // r g b, row by row
    const unsigned char* At(int x, int y) const { return &px[(static_cast<std::size_t>(y) * w + x) * 3]; }
    int Warmth(int x, int y) const { return At(x, y)[0] - At(x, y)[2]; }
    bool Is(int x, int y, int r, int g, int b) const
    {
        return At(x, y)[0] == r && At(x, y)[1] == g && At(x, y)[2] == b;
    }
};

bool ReadPng(const std::string& path, Png& p)
{
    GDALAllRegister();
    GDALDataset* ds = static_cast<GDALDataset*>(GDALOpen(path.c_str(), GA_ReadOnly));
    if (!ds) return false;
    p.w = ds->GetRasterXSize(), p.h = ds->GetRasterYSize();
    p.px.resize(static_cast<std::size_t>(p.w) * p.h * 3);
    const bool ok = ds->GetRasterCount() == 3 &&
                    ds->RasterIO(GF_Read, 0, 0, p.w, p.h, p.px.data(), p.w, p.h, GDT_Byte, 3, nullptr, 3,
                                 static_cast<GSpacing>(p.w) * 3, 1, nullptr) == CE_None;
    GDALClose(ds);
    return ok;
}

}  // namespace

TEST(KrtesRender, ConeColoursContoursScaleBarAndNoData)
{
    // The cone, the cells with x < 2 and y > 18 left out. At 200 pixels
    // across a pixel is 0.1.
    const std::string cone = GridFile("cone.obj", 40, 0, 0.5, Cone, [](int i, int j) { return i < 4 && j >= 36; });
    const std::string out = Temp("view.png");
    const json doc = JsonRun("render " + cone + " --contours 2 --size 200 -o " + out);
    Png p;
    ASSERT_TRUE(ReadPng(out, p));
    ASSERT_EQ(p.w, 200);
    const int rows = doc["map_rows"].get<int>();
    ASSERT_GE(rows, 200);
    ASSERT_EQ(p.h, rows + 28);
    const auto px = [](double x) { return static_cast<int>(std::floor(x / 0.1)); };
    const auto py = [](double y) { return static_cast<int>(std::floor((20.0 - y) / 0.1)); };

    // The apex is warmer (redder against blue) than the low south-east corner.
    EXPECT_GT(p.Warmth(px(10.3), py(10.3)), 0);
    EXPECT_LT(p.Warmth(px(19.5), py(0.5)), 0);
    EXPECT_GT(p.Warmth(px(10.3), py(10.3)), p.Warmth(px(19.5), py(0.5)) + 50);
    // Off the surface: white.
    EXPECT_TRUE(p.Is(px(1), py(19), 255, 255, 255));

    // Contour pixels within a pixel of the ring at level 4 (radius 6), none
    // near radius 5 halfway between two rings.
    const auto nearLine = [&](double x, double y) {
        for (int dy = -1; dy <= 1; ++dy)
            for (int dx = -1; dx <= 1; ++dx)
                if (p.Is(px(x) + dx, py(y) + dy, 60, 35, 20)) return true;
        return false;
    };
    for (int a = 0; a < 360; a += 30) {
        const double t = a * 3.14159265358979 / 180;
        EXPECT_TRUE(nearLine(10 + 6 * std::cos(t), 10 + 6 * std::sin(t))) << a;
        EXPECT_FALSE(nearLine(10 + 5 * std::cos(t), 10 + 5 * std::sin(t))) << a;
    }

    // The scale bar: the largest 1, 2 or 5 times a power of ten within a
    // quarter of the 20 across is 5, 50 pixels: a black run of 51 pixels.
    EXPECT_EQ(doc["scale_bar"]["length"].get<double>(), 5.0);
    int longest = 0, run = 0;
    for (int x = 0; x < p.w; ++x) {
        const bool b = p.Is(x, rows + 15, 0, 0, 0);
        run = b ? run + 1 : 0;
        longest = std::max(longest, run);
    }
    EXPECT_EQ(longest, 51);
    // No black on the map itself (the colours are shaded, never to black).
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < p.w; ++x) ASSERT_FALSE(p.Is(x, y, 0, 0, 0)) << x << " " << y;
}
#endif
