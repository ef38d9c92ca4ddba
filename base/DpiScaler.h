#pragma once
// Scales a dialog to the screen: factor = logical DPI / 96, applied to the
// dialog's size, every direct child's geometry and the font size, rounded to
// whole pixels; applied at construction and again when the logical DPI changes.
class QWidget;

namespace DpiScaler {
void attach(QWidget *dialog);
double factorFor(double logicalDpi);
}
