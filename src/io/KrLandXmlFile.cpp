#include "KrTesGeometry/io/KrLandXmlFile.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <pugixml.hpp>
#include <sstream>
#include <string_view>
#include <unordered_map>

#include "KrTesGeometry/io/KrFileWrite.h"
#include "KrTesGeometry/io/KrMeshFile.h"
#include "KrTesGeometry/io/KrPointFile.h"
#include "io/KrTextScanner.h"

namespace krtes {

using KrTesGeo::_sTri_ID;

namespace {

// Line numbers of byte offsets in the text the document was parsed from.
class LineIndex {
public:
    explicit LineIndex(const std::string& text) : m_text(text) {}
    std::size_t LineOf(std::ptrdiff_t offset)
    {
        if (m_starts.empty()) {
            m_starts.push_back(0);
            for (std::size_t i = 0; i < m_text.size(); ++i)
                if (m_text[i] == '\n') m_starts.push_back(i + 1);
        }
        if (offset < 0) return 0;
        const auto it = std::upper_bound(m_starts.begin(), m_starts.end(), static_cast<std::size_t>(offset));
        return static_cast<std::size_t>(it - m_starts.begin());
    }

private:
    const std::string& m_text;
    std::vector<std::size_t> m_starts;
};

// The element's name without a namespace prefix.
std::string_view Local(const pugi::xml_node& n)
{
    std::string_view s = n.name();
    const std::size_t colon = s.find(':');
    return colon == std::string_view::npos ? s : s.substr(colon + 1);
}

pugi::xml_node Child(const pugi::xml_node& n, std::string_view name)
{
    for (pugi::xml_node c = n.first_child(); c; c = c.next_sibling())
        if (c.type() == pugi::node_element && Local(c) == name) return c;
    return pugi::xml_node();
}

template <class Visit>
void Children(const pugi::xml_node& n, std::string_view name, Visit visit)
{
    for (pugi::xml_node c = n.first_child(); c; c = c.next_sibling())
        if (c.type() == pugi::node_element && Local(c) == name) visit(c);
}

std::string Xml(const pugi::xml_node& n)
{
    std::ostringstream os;
    n.print(os, "", pugi::format_raw);
    return os.str();
}

class Reader {
public:
    Reader(const std::string& path, const std::string& text) : m_path(path), m_lines(text) {}

    std::string Where(const pugi::xml_node& n)
    {
        const std::size_t line = m_lines.LineOf(n.offset_debug());
        return line ? io::At(m_path, line) : m_path + ": ";
    }

    // "n e z" triples of a point list (PntList3D) or pairs (PntList2D, z 0).
    bool PointList(const pugi::xml_node& n, std::size_t dim, std::vector<CKrPoint3d>& out, std::string& err)
    {
        std::vector<double> v;
        std::string_view bad;
        io::ScanNumbers(n.child_value(), v, bad);
        if (!bad.empty()) {
            err = Where(n) + "<" + n.name() + ">: '" + std::string(bad) + "' is not a number";
            return false;
        }
        if (v.size() % dim != 0) {
            err = Where(n) + "<" + n.name() + ">: " + std::to_string(v.size()) + " numbers do not make points of " +
                  std::to_string(dim) + " coordinates";
            return false;
        }
        for (std::size_t i = 0; i < v.size(); i += dim) {
            const CKrPoint3d p(v[i + 1], v[i], dim == 3 ? v[i + 2] : 0.0);
            if (!std::isfinite(p.x) || !std::isfinite(p.y) || !std::isfinite(p.z)) {
                err = Where(n) + "<" + n.name() + ">: coordinate is not finite";
                return false;
            }
            out.push_back(p);
        }
        return true;
    }

    bool Lines(const pugi::xml_node& group, std::string_view item, const char* typeAttr,
               std::vector<SKrLandXmlLine>& out, std::string& err)
    {
        bool ok = true;
        Children(group, item, [&](const pugi::xml_node& b) {
            if (!ok) return;
            SKrLandXmlLine l;
            l.name = b.attribute("name").value();
            l.type = b.attribute(typeAttr).value();
            const pugi::xml_node p3 = Child(b, "PntList3D"), p2 = Child(b, "PntList2D");
            if (p3)
                ok = PointList(p3, 3, l.pts, err);
            else if (p2)
                ok = PointList(p2, 2, l.pts, err);
            if (ok) out.push_back(std::move(l));
        });
        return ok;
    }

    bool Surface(const pugi::xml_node& s, SKrLandXmlSurface& out, std::string& err)
    {
        out.name = s.attribute("name").value();
        out.description = s.attribute("desc").value();
        const pugi::xml_node src = Child(s, "SourceData");
        if (src) {
            if (!Lines(Child(src, "Breaklines"), "Breakline", "brkType", out.breaklines, err)) return false;
            if (!Lines(Child(src, "Boundaries"), "Boundary", "bndType", out.boundaries, err)) return false;
        }
        const pugi::xml_node def = Child(s, "Definition");
        if (!def) return true;  // a surface of source data only
        const std::string what = "surface '" + out.name + "': ";

        std::unordered_map<std::string_view, int32_t> index;
        std::vector<double> v;
        std::string_view bad;
        bool ok = true;
        Children(Child(def, "Pnts"), "P", [&](const pugi::xml_node& p) {
            if (!ok) return;
            const pugi::xml_attribute ida = p.attribute("id");
            std::string id = ida ? ida.value() : std::to_string(out.pts.size() + 1);
            io::ScanNumbers(p.child_value(), v, bad);
            if (!bad.empty() || v.size() != 3) {
                err = Where(p) + what + "point " + id + ": expected \"northing easting elevation\", found '" +
                      std::string(p.child_value()) + "'";
                ok = false;
                return;
            }
            if (!std::isfinite(v[0]) || !std::isfinite(v[1]) || !std::isfinite(v[2])) {
                err = Where(p) + what + "point " + id + ": coordinate is not finite";
                ok = false;
                return;
            }
            if (ida && !index.emplace(std::string_view(ida.value()), static_cast<int32_t>(out.pts.size())).second) {
                err = Where(p) + what + "point id " + id + " is used twice";
                ok = false;
                return;
            }
            out.pts.emplace_back(v[1], v[0], v[2]);
            out.ids.push_back(std::move(id));
        });
        if (!ok) return false;
        // Points without an id are numbered by position.
        std::unordered_map<std::string, int32_t> byPosition;
        for (std::size_t i = 0; i < out.ids.size(); ++i)
            if (index.find(out.ids[i]) == index.end()) byPosition.emplace(out.ids[i], static_cast<int32_t>(i));

        std::vector<std::string_view> f;
        Children(Child(def, "Faces"), "F", [&](const pugi::xml_node& face) {
            if (!ok) return;
            const pugi::xml_attribute inv = face.attribute("i");
            if (inv && inv.as_int() == 1) return;  // an invisible face is not part of the surface
            io::SplitFields(face.child_value(), f, true);
            if (f.size() != 3) {
                err = Where(face) + what + "a face names " + std::to_string(f.size()) + " points, not 3";
                ok = false;
                return;
            }
            _sTri_ID t;
            for (int k = 0; k < 3; ++k) {
                const auto it = index.find(f[k]);
                if (it != index.end()) {
                    t[k] = it->second;
                    continue;
                }
                const auto jt = byPosition.find(std::string(f[k]));
                if (jt == byPosition.end()) {
                    err = Where(face) + what + "face names point " + std::string(f[k]) + ", which <Pnts> does not hold";
                    ok = false;
                    return;
                }
                t[k] = jt->second;
            }
            out.tris.push_back(t);
        });
        return ok;
    }

private:
    const std::string& m_path;
    LineIndex m_lines;
};

void Escape(std::string& buf, std::string_view s)
{
    for (char c : s) {
        switch (c) {
        case '&': buf += "&amp;"; break;
        case '<': buf += "&lt;"; break;
        case '>': buf += "&gt;"; break;
        case '"': buf += "&quot;"; break;
        default: buf += c;
        }
    }
}

void Attr(std::string& buf, const char* name, std::string_view value)
{
    buf += ' ';
    buf += name;
    buf += "=\"";
    Escape(buf, value);
    buf += '"';
}

// "n e z" of a point, shortest round-trip numbers.
void NEZ(std::string& buf, const CKrPoint3d& p)
{
    AppendNumber(buf, p.y);
    buf += ' ';
    AppendNumber(buf, p.x);
    buf += ' ';
    AppendNumber(buf, p.z);
}

void WriteLines(std::string& buf, const std::vector<SKrLandXmlLine>& lines, const char* group, const char* item,
                const char* typeAttr, const char* defaultType)
{
    if (lines.empty()) return;
    buf += "        <";
    buf += group;
    buf += ">\n";
    for (const SKrLandXmlLine& l : lines) {
        buf += "          <";
        buf += item;
        Attr(buf, typeAttr, l.type.empty() ? defaultType : l.type);
        if (std::strcmp(item, "Boundary") == 0) Attr(buf, "edgeTrim", "true");
        if (!l.name.empty()) Attr(buf, "name", l.name);
        buf += "><PntList3D>";
        for (std::size_t i = 0; i < l.pts.size(); ++i) {
            if (i) buf += ' ';
            NEZ(buf, l.pts[i]);
        }
        buf += "</PntList3D></";
        buf += item;
        buf += ">\n";
    }
    buf += "        </";
    buf += group;
    buf += ">\n";
}

}  // namespace

bool IsLandXmlFileName(const std::string& path)
{
    const std::string e = Extension(path);
    return e == ".xml" || e == ".landxml";
}

bool ReadLandXmlFile(const std::string& path, SKrLandXmlFile& file, std::string& err)
{
    std::string text;
    if (!io::ReadWholeFile(path, text, err)) return false;
    pugi::xml_document doc;
    const pugi::xml_parse_result r = doc.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_auto);
    Reader rd(path, text);
    if (!r) {
        LineIndex li(text);
        err = io::At(path, li.LineOf(r.offset)) + "not well-formed XML: " + r.description();
        return false;
    }
    pugi::xml_node root;
    for (pugi::xml_node c = doc.first_child(); c; c = c.next_sibling())
        if (c.type() == pugi::node_element && Local(c) == "LandXML") root = c;
    if (!root) {
        err = path + ": not a LandXML document (no <LandXML> element)";
        return false;
    }
    SKrLandXmlFile out;
    if (const pugi::xml_node u = Child(root, "Units")) {
        out.unitsXml = Xml(u);
        for (pugi::xml_node c = u.first_child(); c; c = c.next_sibling())
            if (c.attribute("linearUnit")) {
                out.linearUnit = c.attribute("linearUnit").value();
                break;
            }
    }
    if (const pugi::xml_node cs = Child(root, "CoordinateSystem")) {
        out.coordinateSystemXml = Xml(cs);
        if (const char* epsg = cs.attribute("epsgCode").value(); *epsg)
            out.crs = std::string("EPSG:") + epsg;
        else
            out.crs = cs.attribute("ogcWktCode").value();
    }
    bool ok = true;
    Children(Child(root, "Surfaces"), "Surface", [&](const pugi::xml_node& s) {
        if (!ok) return;
        out.surfaces.emplace_back();
        ok = rd.Surface(s, out.surfaces.back(), err);
    });
    if (!ok) return false;
    if (out.surfaces.empty()) {
        err = path + ": the file holds no <Surface>";
        return false;
    }
    file = std::move(out);
    return true;
}

bool ReadLandXmlSurface(const std::string& path, const std::string& name, std::vector<CKrPoint3d>& pts,
                        std::vector<_sTri_ID>& tris, std::string& err)
{
    SKrLandXmlFile file;
    if (!ReadLandXmlFile(path, file, err)) return false;
    SKrLandXmlSurface* pick = nullptr;
    std::string names;
    for (SKrLandXmlSurface& s : file.surfaces) {
        names += (names.empty() ? "'" : ", '") + s.name + "'";
        if (!pick && (name.empty() || s.name == name)) pick = &s;
    }
    if (!pick) {
        err = path + ": no surface named '" + name + "' (the file holds " + names + ")";
        return false;
    }
    if (pick->tris.empty()) {
        err = path + ": surface '" + pick->name + "' has no faces";
        return false;
    }
    pts.swap(pick->pts);
    tris.swap(pick->tris);
    return true;
}

SKrLandXmlSurface MakeLandXmlSurface(const std::string& name, const std::vector<CKrPoint3d>& pts,
                                     const std::vector<_sTri_ID>& tris)
{
    SKrLandXmlSurface s;
    s.name = name;
    s.pts = pts;
    s.tris = tris;
    // Border edges: directed edges whose reverse no triangle has.
    std::vector<std::pair<int32_t, int32_t>> dir;
    dir.reserve(tris.size() * 3);
    double area = 0;
    const auto valid = [&pts](int32_t i) { return i >= 0 && static_cast<std::size_t>(i) < pts.size(); };
    for (const _sTri_ID& t : tris) {
        if (!valid(t[0]) || !valid(t[1]) || !valid(t[2])) continue;  // the writer refuses such a face
        for (int k = 0; k < 3; ++k) dir.emplace_back(t[k], t[(k + 1) % 3]);
        const CKrPoint3d &a = pts[t[0]], &b = pts[t[1]], &c = pts[t[2]];
        area += (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
    }
    std::sort(dir.begin(), dir.end());
    std::multimap<int32_t, int32_t> next;  // border edge start -> end, in index order
    for (const auto& e : dir)
        if (!std::binary_search(dir.begin(), dir.end(), std::make_pair(e.second, e.first))) next.emplace(e.first, e.second);
    int loopNo = 0;
    while (!next.empty()) {
        // Each loop starts from the lowest index left, and turns at a pinch
        // point to the lowest next index: the same loops on every run.
        auto it = next.begin();
        const int32_t start = it->first;
        std::vector<CKrPoint3d> ring{pts[start]};
        double loopArea = 0;
        int32_t cur = start;
        while (it != next.end()) {
            const int32_t to = it->second;
            next.erase(it);
            loopArea += pts[cur].x * pts[to].y - pts[to].x * pts[cur].y;
            ring.push_back(pts[to]);
            cur = to;
            if (cur == start) break;
            it = next.find(cur);
        }
        SKrLandXmlLine l;
        l.name = "loop " + std::to_string(++loopNo);
        l.type = (loopArea > 0) == (area > 0) ? "outer" : "void";
        l.pts = std::move(ring);
        s.boundaries.push_back(std::move(l));
    }
    return s;
}

bool WriteLandXmlFile(const std::string& path, const SKrLandXmlFile& file, std::string& err)
{
    std::string buf;
    buf += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<LandXML xmlns=\"http://www.landxml.org/schema/LandXML-1.2\" "
           "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
           "xsi:schemaLocation=\"http://www.landxml.org/schema/LandXML-1.2 "
           "http://www.landxml.org/schema/LandXML-1.2/LandXML-1.2.xsd\" version=\"1.2\">\n";
    buf += "  ";
    buf += file.unitsXml.empty() ? "<Units><Metric areaUnit=\"squareMeter\" linearUnit=\"meter\" "
                                   "volumeUnit=\"cubicMeter\" temperatureUnit=\"celsius\" pressureUnit=\"milliBars\"/></Units>"
                                 : file.unitsXml;
    buf += '\n';
    if (!file.coordinateSystemXml.empty()) buf += "  " + file.coordinateSystemXml + "\n";
    buf += "  <Application name=\"KrTesGeometry\"/>\n  <Surfaces>\n";
    for (const SKrLandXmlSurface& s : file.surfaces) {
        buf += "    <Surface";
        Attr(buf, "name", s.name);
        if (!s.description.empty()) Attr(buf, "desc", s.description);
        buf += ">\n";
        if (!s.boundaries.empty() || !s.breaklines.empty()) {
            buf += "      <SourceData>\n";
            WriteLines(buf, s.boundaries, "Boundaries", "Boundary", "bndType", "outer");
            WriteLines(buf, s.breaklines, "Breaklines", "Breakline", "brkType", "standard");
            buf += "      </SourceData>\n";
        }
        const bool ownIds = s.ids.size() == s.pts.size();
        buf += "      <Definition surfType=\"TIN\">\n        <Pnts>\n";
        for (std::size_t i = 0; i < s.pts.size(); ++i) {
            buf += "          <P id=\"";
            if (ownIds)
                Escape(buf, s.ids[i]);
            else
                buf += std::to_string(i + 1);
            buf += "\">";
            NEZ(buf, s.pts[i]);
            buf += "</P>\n";
        }
        buf += "        </Pnts>\n        <Faces>\n";
        for (const _sTri_ID& t : s.tris) {
            buf += "          <F>";
            for (int k = 0; k < 3; ++k) {
                if (t[k] < 0 || static_cast<std::size_t>(t[k]) >= s.pts.size()) {
                    err = path + ": surface '" + s.name + "': a face names point index " + std::to_string(t[k]) +
                          " of " + std::to_string(s.pts.size());
                    return false;
                }
                if (k) buf += ' ';
                if (ownIds)
                    Escape(buf, s.ids[t[k]]);
                else
                    buf += std::to_string(t[k] + 1);
            }
            buf += "</F>\n";
        }
        buf += "        </Faces>\n      </Definition>\n    </Surface>\n";
    }
    buf += "  </Surfaces>\n</LandXML>\n";
    return WriteTextOutput(path, buf, err);
}

}  // namespace krtes
