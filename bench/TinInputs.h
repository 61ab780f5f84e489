#ifndef KRTES_BENCH_TININPUTS_H
#define KRTES_BENCH_TININPUTS_H

// The generated TIN inputs, shared by bench_delaunay and the peer comparison
// tin_peers so that both time the same points and lines: uniformly random
// points in projected survey coordinates (offset by 500000, 4000000) at a
// survey's density, and constraint polylines of ten points wandering across
// them.

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"

namespace benchtin {

constexpr double kOx = 500000.0, kOy = 4000000.0;

inline std::vector<CKrPoint3d> RandomPoints(std::size_t n)
{
    std::mt19937_64 rng(20261121);
    const double size = std::sqrt(static_cast<double>(n)) * 10.0;
    std::uniform_real_distribution<double> u(0.0, size);
    std::uniform_real_distribution<double> h(200.0, 900.0);
    std::vector<CKrPoint3d> pts;
    pts.reserve(n);
    for (std::size_t i = 0; i < n; ++i) {
        const double x = u(rng), y = u(rng);
        pts.emplace_back(kOx + x, kOy + y, h(rng));
    }
    return pts;
}

inline std::vector<std::vector<CKrPoint3d>> RandomLines(std::size_t n, std::size_t count)
{
    std::mt19937_64 rng(7);
    const double size = std::sqrt(static_cast<double>(n)) * 10.0;
    std::uniform_real_distribution<double> u(0.05 * size, 0.95 * size);
    std::uniform_real_distribution<double> step(-0.05 * size, 0.05 * size);
    std::vector<std::vector<CKrPoint3d>> lines;
    for (std::size_t l = 0; l < count; ++l) {
        std::vector<CKrPoint3d> line;
        double x = u(rng), y = u(rng);
        for (int k = 0; k < 10; ++k) {
            line.emplace_back(kOx + x, kOy + y, 500.0);
            x = std::min(std::max(x + step(rng), 0.0), size);
            y = std::min(std::max(y + step(rng), 0.0), size);
        }
        lines.push_back(line);
    }
    return lines;
}

}  // namespace benchtin

#endif
