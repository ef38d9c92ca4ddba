#include "DpiScaler.h"

#include <QGuiApplication>
#include <QRect>
#include <QScreen>
#include <QWidget>
#include <QWindow>
#include <QtMath>

namespace {
const char *kBaseGeometry = "ostrelBaseGeometry";
const char *kBaseSize = "ostrelBaseSize";
const char *kBasePoint = "ostrelBasePointSize";

QRect scaled(const QRect &r, double f)
{
    return QRect(qRound(r.x() * f), qRound(r.y() * f), qRound(r.width() * f), qRound(r.height() * f));
}

// Geometry is always scaled from the size the form was built with, so
// repeated DPI changes never compound.
void apply(QWidget *dialog, double f)
{
    if (!dialog->property(kBaseSize).isValid()) {
        dialog->setProperty(kBaseSize, dialog->size());
        dialog->setProperty(kBasePoint, dialog->font().pointSizeF());
        for (QObject *o : dialog->children()) {
            if (auto *w = qobject_cast<QWidget *>(o); w && !w->isWindow())
                w->setProperty(kBaseGeometry, w->geometry());
        }
    }
    const QSize base = dialog->property(kBaseSize).toSize();
    dialog->resize(qRound(base.width() * f), qRound(base.height() * f));
    const double point = dialog->property(kBasePoint).toDouble();
    if (point > 0) {
        QFont font = dialog->font();
        font.setPointSizeF(qRound(point * f * 100.0) / 100.0);
        dialog->setFont(font);
    }
    for (QObject *o : dialog->children()) {
        auto *w = qobject_cast<QWidget *>(o);
        if (!w || w->isWindow())
            continue;
        const QVariant g = w->property(kBaseGeometry);
        if (g.isValid())
            w->setGeometry(scaled(g.toRect(), f));
    }
}

void follow(QWidget *dialog, QScreen *screen)
{
    if (!screen)
        return;
    QObject::connect(
        screen, &QScreen::logicalDotsPerInchChanged, dialog,
        [dialog](qreal dpi) { apply(dialog, DpiScaler::factorFor(dpi)); }, Qt::UniqueConnection);
}
} // namespace

namespace DpiScaler {
double factorFor(double logicalDpi) { return logicalDpi / 96.0; }

void attach(QWidget *dialog)
{
    QScreen *screen = dialog->screen() ? dialog->screen() : QGuiApplication::primaryScreen();
    if (!screen)
        return;
    const double f = factorFor(screen->logicalDotsPerInch());
    if (!qFuzzyCompare(f, 1.0))
        apply(dialog, f);
    follow(dialog, screen);
}
}
