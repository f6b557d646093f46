#include "TreemapSvg.h"

#include "Command.h"

#include "platform/ByteCountFormatter.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

namespace sweeper {

namespace {

constexpr double kWidth = 1200;
constexpr double kHeight = 800;
constexpr double kMargin = 2;
constexpr double kLabelHeight = 14;
constexpr double kCharWidth = 6.5;

// The largest aspect ratio in a row of areas laid along a side of `side`.
double worstRatio(double sum, double smallest, double largest, double side) {
    double s2 = sum * sum;
    double w2 = side * side;
    return std::max(w2 * largest / s2, s2 / (w2 * smallest));
}

std::string escapeXml(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        switch (c) {
            case '&': out += "&amp;"; break;
            case '<': out += "&lt;"; break;
            case '>': out += "&gt;"; break;
            case '"': out += "&quot;"; break;
            case '\'': out += "&apos;"; break;
            default:
                // Control characters aren't allowed in XML 1.0.
                if (static_cast<unsigned char>(c) < 0x20 && c != '\t') out += '?';
                else out += c;
        }
    }
    return out;
}

class Painter {
public:
    Painter(std::FILE* out, int depth) : _out(out), _depth(depth) {}

    void draw(const Core::DiskFileTreeNode& node, const std::string& path, const TreemapRect& r, int level,
              double hue) {
        double lightness = level == 0 ? 85 : std::min(45.0 + level * 10.0, 90.0);
        double saturation = level == 0 ? 0 : 55;
        std::string title = escapeXml(path) + " (" + platform::formatByteCount(node.size()) + ")";
        std::fprintf(_out,
                     "<rect x=\"%.3f\" y=\"%.3f\" width=\"%.3f\" height=\"%.3f\" fill=\"hsl(%.0f,%.0f%%,%.0f%%)\" "
                     "stroke=\"#333\" stroke-width=\"0.5\" data-path=\"%s\" data-size=\"%lld\"><title>%s</title></rect>\n",
                     r.x, r.y, r.width, r.height, hue, saturation, lightness, escapeXml(path).c_str(),
                     static_cast<long long>(node.size()), title.c_str());
        bool labelled = r.width > 4 * kCharWidth && r.height > kLabelHeight + 2 * kMargin;
        if (labelled) {
            std::string name = level == 0 ? path : node.name();
            size_t fits = size_t((r.width - 2 * kMargin) / kCharWidth);
            if (name.size() > fits) name = name.substr(0, fits > 1 ? fits - 1 : 0) + "~";
            std::fprintf(_out, "<text x=\"%.3f\" y=\"%.3f\" font-size=\"11\" font-family=\"sans-serif\">%s</text>\n",
                         r.x + kMargin, r.y + kLabelHeight - 3, escapeXml(name).c_str());
        }
        if (level >= _depth || !node.children()) return;

        std::vector<const Core::DiskFileTreeNode*> children;
        for (const auto& child : *node.children())
            if (child->size() > 0) children.push_back(child.get());
        if (children.empty()) return;
        std::stable_sort(children.begin(), children.end(), [](auto* a, auto* b) { return a->size() > b->size(); });
        TreemapRect inner{r.x + kMargin, r.y + kMargin + (labelled ? kLabelHeight : 0), r.width - 2 * kMargin,
                          r.height - 2 * kMargin - (labelled ? kLabelHeight : 0)};
        if (inner.width <= 0 || inner.height <= 0) return;
        std::vector<double> sizes;
        sizes.reserve(children.size());
        for (auto* child : children) sizes.push_back(double(child->size()));
        auto rects = squarify(sizes, inner);
        for (size_t i = 0; i < children.size(); ++i) {
            // The golden angle apart, in thousandths of a degree.
            double childHue = level == 0 ? double(i * 137508 % 360000) / 1000.0 : hue;
            std::string childPath = path == "/" ? "/" + children[i]->name() : path + "/" + children[i]->name();
            draw(*children[i], childPath, rects[i], level + 1, childHue);
        }
    }

private:
    std::FILE* _out;
    int _depth;
};

}  // namespace

std::vector<TreemapRect> squarify(const std::vector<double>& sizes, const TreemapRect& area) {
    std::vector<TreemapRect> rects(sizes.size());
    double total = 0;
    for (double s : sizes) total += s;
    if (sizes.empty() || total <= 0) return rects;
    double scale = area.width * area.height / total;
    TreemapRect free = area;
    size_t start = 0;
    while (start < sizes.size()) {
        double side = std::min(free.width, free.height);
        // Grow the row while the worst aspect ratio improves.
        size_t end = start + 1;
        double sum = sizes[start] * scale;
        double worst = worstRatio(sum, sizes[start] * scale, sizes[start] * scale, side);
        while (end < sizes.size()) {
            double a = sizes[end] * scale;
            double next = worstRatio(sum + a, a, sizes[start] * scale, side);
            if (next > worst) break;
            worst = next;
            sum += a;
            ++end;
        }
        bool last = end == sizes.size();
        if (free.width >= free.height) {
            // A column at the left, as wide as its area needs.
            double columnWidth = last ? free.width : sum / free.height;
            double y = free.y;
            for (size_t i = start; i < end; ++i) {
                double h = i + 1 == end ? free.y + free.height - y : sizes[i] * scale / columnWidth;
                rects[i] = {free.x, y, columnWidth, h};
                y += h;
            }
            free.x += columnWidth;
            free.width -= columnWidth;
        } else {
            double rowHeight = last ? free.height : sum / free.width;
            double x = free.x;
            for (size_t i = start; i < end; ++i) {
                double w = i + 1 == end ? free.x + free.width - x : sizes[i] * scale / rowHeight;
                rects[i] = {x, free.y, w, rowHeight};
                x += w;
            }
            free.y += rowHeight;
            free.height -= rowHeight;
        }
        start = end;
    }
    return rects;
}

void writeTreemapSvg(const std::string& path, const Core::DiskFileTreeNode& root, int depth) {
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> out(std::fopen(path.c_str(), "we"), &std::fclose);
    if (!out) throw CommandError("cannot write " + path + ": " + std::strerror(errno));
    std::fprintf(out.get(),
                 "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                 "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%.0f\" height=\"%.0f\" viewBox=\"0 0 %.0f %.0f\">\n",
                 kWidth, kHeight, kWidth, kHeight);
    Painter(out.get(), depth).draw(root, root.path(), {0, 0, kWidth, kHeight}, 0, 0);
    std::fputs("</svg>\n", out.get());
    if (std::ferror(out.get())) throw CommandError("cannot write " + path);
}

}  // namespace sweeper
