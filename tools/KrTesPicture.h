#ifndef KRTES_TOOLS_KRTESPICTURE_H
#define KRTES_TOOLS_KRTESPICTURE_H

// Plan pictures of the commands that draw (render, volume --map): an RGB
// canvas over an elevation grid's cells, one pixel a cell, with a white strip
// below the map holding a scale bar.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "KrTesGeometry/io/KrDemGrid.h"

namespace krtes {

struct Rgb {
    uint8_t r, g, b;
};

class Picture {
public:
    // The map is grid.cols x grid.rows pixels, the strip kStrip pixels more.
    static constexpr int kStrip = 28;
    explicit Picture(const SKrDemGrid& grid)
        : m_w(grid.cols), m_h(grid.rows + kStrip), m_grid(grid), m_rgb(static_cast<std::size_t>(m_w) * m_h * 3, 255)
    {
    }
    int Width() const { return m_w; }
    int Height() const { return m_h; }
    const std::vector<uint8_t>& Bytes() const { return m_rgb; }

    void Set(int x, int y, Rgb c)
    {
        if (x < 0 || y < 0 || x >= m_w || y >= m_h) return;
        uint8_t* p = &m_rgb[(static_cast<std::size_t>(y) * m_w + x) * 3];
        p[0] = c.r, p[1] = c.g, p[2] = c.b;
    }
    // Pixel coordinates (continuous; pixel (i, j) covers [i, i+1) x [j, j+1))
    // of a plan position.
    double Px(double x) const { return (x - m_grid.xmin) / m_grid.cell; }
    double Py(double y) const { return (m_grid.ymax - y) / m_grid.cell; }

    // A line between two plan positions, drawn over the map only: every
    // pixel whose centre the segment passes within half a pixel of, stepped
    // along the longer axis.
    void PlanLine(double x0, double y0, double x1, double y1, Rgb c)
    {
        const double ax = Px(x0), ay = Py(y0), bx = Px(x1), by = Py(y1);
        const int n = static_cast<int>(std::ceil(std::max(std::fabs(bx - ax), std::fabs(by - ay)))) + 1;
        for (int k = 0; k <= n; ++k) {
            const double t = static_cast<double>(k) / n;
            const int i = static_cast<int>(std::floor(ax + t * (bx - ax))), j = static_cast<int>(std::floor(ay + t * (by - ay)));
            if (j < m_grid.rows) Set(i, j, c);
        }
    }

    // A scale bar in the strip: a black bar `pixels` long and 3 high from x = 10,
    // ticks at its ends and middle, and its length as text to the right.
    void ScaleBar(int pixels, const std::string& label)
    {
        const Rgb black{0, 0, 0};
        const int x0 = 10, y0 = m_grid.rows + 14;
        for (int i = 0; i <= pixels; ++i)
            for (int j = 0; j < 3; ++j) Set(x0 + i, y0 + j, black);
        for (int t : {0, pixels / 2, pixels})
            for (int j = -6; j < 3; ++j) Set(x0 + t, y0 + j, black);
        Text(x0 + pixels + 8, y0 - 4, label, black);
    }

    // Digits, '.', '-' and 'e' in a 3 x 5 pixel font, drawn twice the size.
    void Text(int x, int y, const std::string& s, Rgb c)
    {
        for (char ch : s) {
            const char* g = Glyph(ch);
            for (int r = 0; r < 5 && g; ++r)
                for (int q = 0; q < 3; ++q)
                    if (g[r * 3 + q] == '#')
                        for (int d = 0; d < 4; ++d) Set(x + 2 * q + d % 2, y + 2 * r + d / 2, c);
            x += 8;
        }
    }

private:
    static const char* Glyph(char ch)
    {
        static const char* digits[] = {"####.##.##.####", "..#..#..#..#..#", "###..#####..###", "###..####..####",
                                       "#.##.####..#..#", "####..###..####", "####..####.####", "###..#..#..#..#",
                                       "####.#####.####", "####.####..####"};
        if (ch >= '0' && ch <= '9') return digits[ch - '0'];
        if (ch == '.') return ".............#.";
        if (ch == '-') return "......###......";
        if (ch == 'e') return "....#.###.#...#";
        return nullptr;
    }
    int m_w, m_h;
    const SKrDemGrid& m_grid;
    std::vector<uint8_t> m_rgb;
};

// The scale bar's length: 1, 2 or 5 times a power of ten, the largest not
// above a quarter of the map's width (whole cells of `cell`).
inline double ScaleBarLength(int cols, double cell)
{
    const double most = std::max(cols / 4, 1) * cell;
    const double p = std::pow(10.0, std::floor(std::log10(most)));
    double best = p;
    for (double m : {2.0, 5.0, 10.0})
        if (m * p <= most * (1 + 1e-12)) best = m * p;
    return best;
}

}  // namespace krtes

#endif
