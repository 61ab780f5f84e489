#include "KrTesGeometry/io/KrPointTable.h"

#include <algorithm>
#include <cctype>
#include <cmath>

#include "io/KrTextScanner.h"

namespace krtes {

namespace {

enum class Sep { Spaces, Comma, Semicolon, Tab };

Sep GuessSep(std::string_view line)
{
    if (line.find(';') != std::string_view::npos) return Sep::Semicolon;
    if (line.find('\t') != std::string_view::npos) return Sep::Tab;
    if (line.find(',') != std::string_view::npos) return Sep::Comma;
    return Sep::Spaces;
}

std::string_view Trim(std::string_view s)
{
    while (!s.empty() && io::IsSpace(s.front())) s.remove_prefix(1);
    while (!s.empty() && io::IsSpace(s.back())) s.remove_suffix(1);
    return s;
}

// Splits a line at sep. A field that starts with a double quote runs to its
// closing quote (a doubled quote inside stands for one); quoted fields that
// need unescaping are built in `store`. A '#' outside quotes ends the line.
// False when a quote is left open.
bool Split(std::string_view line, Sep sep, std::vector<std::string_view>& out, std::vector<std::string>& store)
{
    out.clear();
    std::size_t used = 0;
    // A comma table's line without a comma is split at white space, as a
    // plain point file's would be.
    if (sep == Sep::Comma && line.find(',') == std::string_view::npos) sep = Sep::Spaces;
    const bool spaces = sep == Sep::Spaces;
    const char sc = sep == Sep::Comma ? ',' : sep == Sep::Semicolon ? ';' : '\t';
    const auto isSep = [&](char c) { return spaces ? io::IsSpace(c) : c == sc; };
    const std::size_t n = line.size();
    std::size_t i = 0;
    for (;;) {
        while (i < n && (spaces ? io::IsSpace(line[i]) : line[i] == ' ' || line[i] == '\r')) ++i;
        if (i >= n || line[i] == '#') {
            if (!spaces && !out.empty()) out.push_back(std::string_view());  // "1,2," ends in an empty field
            break;
        }
        if (line[i] == '"') {
            std::string* buf = nullptr;
            std::size_t start = ++i;
            for (;;) {
                const std::size_t q = line.find('"', i);
                if (q == std::string_view::npos) return false;
                if (q + 1 < n && line[q + 1] == '"') {  // an escaped quote
                    if (!buf) {
                        if (store.size() <= used) store.emplace_back();
                        buf = &store[used++];
                        buf->clear();
                    }
                    buf->append(line.substr(start, q + 1 - start));
                    i = start = q + 2;
                    continue;
                }
                if (buf) {
                    buf->append(line.substr(start, q - start));
                    out.push_back(*buf);
                } else {
                    out.push_back(line.substr(start, q - start));
                }
                i = q + 1;
                break;
            }
            while (i < n && !isSep(line[i]) && line[i] != '#') ++i;  // anything after the quote is dropped
        } else {
            std::size_t j = i;
            while (j < n && !isSep(line[j]) && line[j] != '#') ++j;
            out.push_back(Trim(line.substr(i, j - i)));
            i = j;
        }
        if (i >= n || line[i] == '#') break;
        if (!spaces) ++i;  // past the separator
    }
    // A line of only separators holds no field.
    bool any = false;
    for (std::string_view f : out) any = any || !f.empty();
    if (!any) out.clear();
    return true;
}

// A number; with decimalComma, "12,5" reads as 12.5.
bool Number(std::string_view f, bool decimalComma, double& d)
{
    if (decimalComma && f.find(',') != std::string_view::npos) {
        char tmp[64];
        if (f.size() >= sizeof tmp) return false;
        for (std::size_t k = 0; k < f.size(); ++k) tmp[k] = f[k] == ',' ? '.' : f[k];
        return io::ToDouble(std::string_view(tmp, f.size()), d);
    }
    return io::ToDouble(f, d);
}

std::string Lower(std::string_view s)
{
    std::string r(Trim(s));
    for (char& c : r) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return r;
}

// 0, 1, 2 for x, y, z; -1 for any other column.
int Role(const std::string& name)
{
    for (const char* n : {"x", "e", "east", "easting"})
        if (name == n) return 0;
    for (const char* n : {"y", "n", "north", "northing"})
        if (name == n) return 1;
    for (const char* n : {"z", "h", "elev", "elevation", "height", "level", "rl"})
        if (name == n) return 2;
    return -1;
}

// Assigns the coordinate roles of named columns; err (without location) on
// a missing or repeated role.
bool Assign(const std::vector<std::string>& names, int role[3], std::string& why)
{
    role[0] = role[1] = role[2] = -1;
    bool any = false;
    for (std::size_t k = 0; k < names.size(); ++k) {
        const int r = Role(Lower(names[k]));
        if (r < 0) continue;
        any = true;
        if (role[r] >= 0) {
            why = "columns '" + names[role[r]] + "' and '" + names[k] + "' both name " + "xyz"[r];
            return false;
        }
        role[r] = static_cast<int>(k);
    }
    if (!any && names.size() == 3) {
        role[0] = 0, role[1] = 1, role[2] = 2;
        return true;
    }
    static const char* const kWant[3] = {"x (or e, easting)", "y (or n, northing)", "z (or elevation, height)"};
    for (int r = 0; r < 3; ++r) {
        if (role[r] < 0) {
            why = "no column named " + std::string(kWant[r]);
            return false;
        }
    }
    return true;
}

}  // namespace

bool ReadPointTable(const std::string& path, SKrPointTable& table, std::string& err, const SKrPointTableOptions& options)
{
    io::CKrLineReader sc(path);
    if (!sc.Open(err)) return false;
    SKrPointTable out;
    io::CKrReadBudget budget;
    std::vector<std::string_view> f;
    std::vector<std::string> store;
    std::string why;
    int role[3] = {0, 1, 2};
    bool started = false;
    Sep sep = Sep::Spaces;
    bool decimalComma = false;
    std::size_t ncol = 3;
    std::vector<int> extraCol;  // file column of each extra

    const auto setColumns = [&](const std::vector<std::string>& names) {
        out.columns = names;
        if (!Assign(names, role, why)) return false;
        ncol = names.size();
        for (std::size_t k = 0; k < names.size(); ++k) {
            if (static_cast<int>(k) == role[0] || static_cast<int>(k) == role[1] || static_cast<int>(k) == role[2])
                continue;
            extraCol.push_back(static_cast<int>(k));
            out.extraNames.push_back(names[k]);
        }
        return true;
    };
    if (!options.columns.empty()) {
        std::vector<std::string_view> v;
        Split(options.columns, Sep::Comma, v, store);
        if (!setColumns(std::vector<std::string>(v.begin(), v.end()))) {
            err = path + ": --columns '" + options.columns + "': " + why;
            return false;
        }
    }

    while (sc.NextLine()) {
        const std::string_view line = sc.Line();
        if (!started) {
            const std::string_view t = Trim(line);
            if (t.empty() || t[0] == '#') continue;
            sep = GuessSep(io::CutComment(t));
            decimalComma = sep == Sep::Semicolon || sep == Sep::Tab;
        }
        if (!Split(line, sep, f, store)) {
            err = sc.Here() + "a quoted field is not closed";
            return false;
        }
        if (f.empty()) continue;
        if (!started) {
            started = true;
            // A header row: some field that should be a number is not (with
            // named columns, some coordinate field).
            bool numeric = true;
            double d;
            if (options.columns.empty()) {
                for (std::string_view x : f) numeric = numeric && Number(x, decimalComma, d);
            } else {
                for (int r = 0; r < 3; ++r)
                    numeric = numeric && static_cast<std::size_t>(role[r]) < f.size() && Number(f[role[r]], decimalComma, d);
            }
            if (!numeric) {  // a header row
                if (options.columns.empty() && !setColumns(std::vector<std::string>(f.begin(), f.end()))) {
                    err = sc.Here() + "header: " + why;
                    return false;
                }
                continue;
            }
            if (options.columns.empty() && f.size() != 3) {
                err = sc.Here() + std::to_string(f.size()) +
                      " columns and no header row: name them in a first line (x,y,z,...) or give the columns";
                return false;
            }
        }
        // Too many fields, or too few to reach a coordinate column.
        const std::size_t need = static_cast<std::size_t>(std::max({role[0], role[1], role[2]})) + 1;
        if (f.size() > ncol || f.size() < need) {
            err = sc.Here() + "expected " + std::to_string(ncol) + " values" + (extraCol.empty() ? " (x y z)" : "") +
                  ", found " + std::to_string(f.size());
            return false;
        }
        double c[3];
        for (int r = 0; r < 3; ++r) {
            if (f[role[r]].empty()) {
                err = sc.Here() + "no value in column " + std::to_string(role[r] + 1) + " (" + "xyz"[r] + ")";
                return false;
            }
            if (!Number(f[role[r]], decimalComma, c[r])) {
                err = sc.Here() + "'" + std::string(f[role[r]]) + "' is not a number";
                return false;
            }
            if (!std::isfinite(c[r])) {
                err = sc.Here() + "coordinate is not finite (NaN or infinite)";
                return false;
            }
        }
        std::size_t bytes = sizeof(CKrPoint3d);
        for (int k : extraCol)
            bytes += sizeof(std::string) + (static_cast<std::size_t>(k) < f.size() ? f[k].size() : 0);
        if (!budget.Take(bytes)) {
            err = sc.Here() + budget.TooLarge(std::to_string(out.pts.size()) + " points read");
            return false;
        }
        out.pts.emplace_back(c[0], c[1], c[2]);
        for (int k : extraCol) out.extra.emplace_back(static_cast<std::size_t>(k) < f.size() ? f[k] : std::string_view());
    }
    if (!sc.Finish(err)) return false;
    if (out.columns.empty()) out.columns = {"x", "y", "z"};
    table = std::move(out);
    return true;
}

}  // namespace krtes
