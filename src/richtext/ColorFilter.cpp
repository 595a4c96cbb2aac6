#include "richtext/ColorFilter.h"

#include <QColor>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextFragment>
#include <algorithm>
#include <vector>

namespace ColorFilter {

double saturation(const QColor& color)
{
    // From the 16-bit components: QColor::hsvSaturationF is rounded to 1/255, which would blur
    // the threshold.
    const QRgba64 rgb = color.toRgb().rgba64();
    const int max = std::max({rgb.red(), rgb.green(), rgb.blue()});
    const int min = std::min({rgb.red(), rgb.green(), rgb.blue()});
    return max == 0 ? 0.0 : double(max - min) / double(max);
}

bool keepsColor(const QColor& color)
{
    // A colour that cannot be read as RGB is kept as it is.
    return !color.isValid() || saturation(color) >= saturationThreshold;
}

void apply(QTextDocument& document)
{
    struct Range {
        int start;
        int end;
        QTextCharFormat format;
    };
    // Collected first: changing formats while walking would invalidate the fragment iterators.
    std::vector<Range> ranges;
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QTextFragment fragment = it.fragment();
            QTextCharFormat format = fragment.charFormat();
            if (!format.hasProperty(QTextFormat::ForegroundBrush))
                continue;
            const QBrush brush = format.foreground();
            if (brush.style() != Qt::SolidPattern || keepsColor(brush.color()))
                continue;
            format.clearForeground();
            ranges.push_back(
                {fragment.position(), fragment.position() + fragment.length(), format});
        }
    }
    QTextCursor cursor(&document);
    cursor.beginEditBlock(); // no layout per change
    for (const Range& range : ranges) {
        cursor.setPosition(range.start);
        cursor.setPosition(range.end, QTextCursor::KeepAnchor);
        cursor.setCharFormat(range.format);
    }
    cursor.endEditBlock();
}

} // namespace ColorFilter
