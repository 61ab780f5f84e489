#ifndef KRTES_TESTS_KRICOSPHERE_H
#define KRTES_TESTS_KRICOSPHERE_H

// The unit icosphere, shared by the tests and the benchmarks (which do not
// link the test framework): an icosahedron subdivided `levels` times
// (20 * 4^levels triangles) with every new vertex pushed onto the unit
// sphere, outward-facing.

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <utility>
#include <vector>

namespace testmesh {

struct Icosphere {
    std::vector<std::array<double, 3>> v;  // unit vectors
    std::vector<std::array<int, 3>> f;     // counter-clockwise seen from outside
};

inline Icosphere UnitIcosphere(int levels)
{
    const double g = (1.0 + std::sqrt(5.0)) / 2.0;
    Icosphere s;
    s.v = {{-1, g, 0}, {1, g, 0}, {-1, -g, 0}, {1, -g, 0}, {0, -1, g}, {0, 1, g},
           {0, -1, -g}, {0, 1, -g}, {g, 0, -1}, {g, 0, 1}, {-g, 0, -1}, {-g, 0, 1}};
    s.f = {{0, 11, 5}, {0, 5, 1}, {0, 1, 7}, {0, 7, 10}, {0, 10, 11}, {1, 5, 9}, {5, 11, 4},
           {11, 10, 2}, {10, 7, 6}, {7, 1, 8}, {3, 9, 4}, {3, 4, 2}, {3, 2, 6}, {3, 6, 8},
           {3, 8, 9}, {4, 9, 5}, {2, 4, 11}, {6, 2, 10}, {8, 6, 7}, {9, 8, 1}};
    auto unit = [](std::array<double, 3>& p) {
        const double l = std::sqrt(p[0] * p[0] + p[1] * p[1] + p[2] * p[2]);
        for (double& x : p) x /= l;
    };
    for (auto& p : s.v) unit(p);
    for (int lv = 0; lv < levels; ++lv) {
        std::map<std::pair<int, int>, int> mid;
        auto midpoint = [&](int a, int b) {
            const auto key = std::minmax(a, b);
            auto it = mid.find(key);
            if (it != mid.end()) return it->second;
            std::array<double, 3> m = {s.v[a][0] + s.v[b][0], s.v[a][1] + s.v[b][1], s.v[a][2] + s.v[b][2]};
            unit(m);
            s.v.push_back(m);
            return mid[key] = static_cast<int>(s.v.size()) - 1;
        };
        std::vector<std::array<int, 3>> nf;
        for (const auto& t : s.f) {
            const int a = midpoint(t[0], t[1]), b = midpoint(t[1], t[2]), c = midpoint(t[2], t[0]);
            nf.push_back({t[0], a, c});
            nf.push_back({t[1], b, a});
            nf.push_back({t[2], c, b});
            nf.push_back({a, b, c});
        }
        s.f.swap(nf);
    }
    return s;
}

}  // namespace testmesh

#endif
