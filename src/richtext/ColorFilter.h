#pragma once

class QColor;
class QTextDocument;

// Removes near-grey text colours so that black, grey and white text takes the default colour of
// wherever it is shown (a dark editor theme, the target application), while chromatic colours
// stay.
namespace ColorFilter {

// HSB saturation below this drops a run's foreground colour.
constexpr double saturationThreshold = 0.12;

// HSB saturation of the colour in device RGB, from 0 (grey) to 1.
double saturation(const QColor& color);

bool keepsColor(const QColor& color);

// Removes the foreground colour from every run whose colour is not kept.
void apply(QTextDocument& document);

} // namespace ColorFilter
