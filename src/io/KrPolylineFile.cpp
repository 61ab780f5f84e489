#include "KrTesGeometry/io/KrPolylineFile.h"

#include <cmath>

#include "io/KrTextScanner.h"

namespace krtes {

bool ReadPolylineFile(const std::string& path, std::vector<std::vector<CKrPoint3d>>& lines, std::size_t minPoints,
                      std::string& err)
{
    io::CKrLineReader sc(path);
    if (!sc.Open(err)) return false;
    std::vector<std::vector<CKrPoint3d>> out;
    std::vector<CKrPoint3d> cur;
    std::size_t blockStart = 0, count = 0;
    io::CKrReadBudget budget;
    const auto close = [&]() {
        if (cur.empty()) return true;
        if (cur.size() < minPoints) {
            err = io::At(path, blockStart) + "polyline has " + std::to_string(cur.size()) +
                  " point(s), needs at least " + std::to_string(minPoints);
            return false;
        }
        out.push_back(std::move(cur));
        cur.clear();
        return true;
    };
    std::vector<double> v;
    std::string_view bad;
    while (sc.NextLine()) {
        if (io::IsBlank(sc.Line())) {
            if (!close()) return false;
            continue;
        }
        const std::size_t n = io::ScanNumbers(io::CutComment(sc.Line()), v, bad);
        if (n == 0 && bad.empty()) continue;  // a comment line does not end a block
        if (n == 0 && out.empty() && cur.empty()) continue;  // a column header
        if (!bad.empty()) {
            err = sc.Here() + "'" + std::string(bad) + "' is not a number";
            return false;
        }
        if (n != 3) {
            err = sc.Here() + "expected 3 values (x y z), found " + std::to_string(n);
            return false;
        }
        const CKrPoint3d p(v[0], v[1], v[2]);
        if (!std::isfinite(p.x) || !std::isfinite(p.y) || !std::isfinite(p.z)) {
            err = sc.Here() + "coordinate is not finite (NaN or infinite)";
            return false;
        }
        if (cur.empty()) blockStart = sc.LineNo();
        if (!budget.Take(sizeof(CKrPoint3d))) {
            err = sc.Here() + budget.TooLarge(std::to_string(count) + " points read");
            return false;
        }
        cur.push_back(p);
        ++count;
    }
    if (!sc.Finish(err) || !close()) return false;
    lines.swap(out);
    return true;
}

}  // namespace krtes
