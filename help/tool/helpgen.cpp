// ostrel_helpgen MANUAL.md OUT.pdf: renders one user manual from its Markdown
// source to an A4 PDF with Qt's own text engine (QTextDocument + QPdfWriter),
// so the build needs nothing beyond Qt. Run it with QT_QPA_PLATFORM=offscreen.
//
// Beyond GitHub Markdown it understands one line of its own: "[TOC]" becomes
// the numbered list of the manual's chapters (the "## " headings, which get
// the same numbers). Every chapter starts
// on a new page; pictures are shown at their screen size, shrunk to the text
// width when wider. A missing picture is an error: a manual must never ship
// with holes in it.
#include <QFile>
#include <QFileInfo>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QImage>
#include <QPageLayout>
#include <QPageSize>
#include <QPdfWriter>
#include <QRegularExpression>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextFrame>
#include <QTextStream>
#include <QTextTable>

#include <cstdio>
#include <cstdlib>

namespace {

// Pictures and page geometry are worked out in screen pixels (96 per inch),
// the unit QTextDocument uses for image sizes on any device.
constexpr qreal kScreenDpi = 96.0;
constexpr int kPrintDpi = 300;
// QTextDocument::print() keeps a 2 cm margin on every side of an A4 page.
constexpr qreal kTextWidthMm = 210.0 - 2 * 20.0;

[[noreturn]] void fail(const QString &what)
{
    std::fprintf(stderr, "ostrel_helpgen: %s\n", qPrintable(what));
    std::exit(1);
}

QString readSource(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        fail(QStringLiteral("cannot read ") + path);
    return QString::fromUtf8(file.readAll());
}

// "[TOC]" on a line of its own becomes a numbered list of the chapters.
QString expandContents(const QString &markdown)
{
    QStringList chapters;
    bool inCode = false;
    const QStringList lines = markdown.split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        if (line.startsWith(QLatin1String("```")))
            inCode = !inCode;
        else if (!inCode && line.startsWith(QLatin1String("## ")))
            chapters << line.mid(3).trimmed();
    }
    QString list;
    for (int i = 0; i < chapters.size(); ++i)
        list += QStringLiteral("%1. %2\n").arg(i + 1).arg(chapters.at(i));
    // The chapters carry the numbers of the list.
    QString out;
    int chapter = 0;
    inCode = false;
    for (const QString &line : lines) {
        if (line.startsWith(QLatin1String("```")))
            inCode = !inCode;
        if (line.trimmed() == QLatin1String("[TOC]"))
            out += list;
        else if (!inCode && line.startsWith(QLatin1String("## ")))
            out += QStringLiteral("## %1. %2\n").arg(++chapter).arg(line.mid(3).trimmed());
        else
            out += line + QLatin1Char('\n');
    }
    return out;
}

// Loads every picture the text refers to (relative to the source file) and
// fixes its printed size.
void placeImages(QTextDocument &doc, const QString &baseDir)
{
    const qreal maxWidth = kTextWidthMm / 25.4 * kScreenDpi;
    for (QTextBlock block = doc.begin(); block.isValid(); block = block.next()) {
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QTextFragment fragment = it.fragment();
            if (!fragment.charFormat().isImageFormat())
                continue;
            QTextImageFormat format = fragment.charFormat().toImageFormat();
            const QString name = format.name();
            const QString path = QFileInfo(name).isAbsolute() ? name : baseDir + QLatin1Char('/') + name;
            QImage image(path);
            if (image.isNull())
                fail(QStringLiteral("missing picture ") + path);
            doc.addResource(QTextDocument::ImageResource, QUrl(name), image);
            const qreal scale = image.width() > maxWidth ? maxWidth / image.width() : 1.0;
            format.setWidth(image.width() * scale);
            format.setHeight(image.height() * scale);
            QTextCursor cursor(&doc);
            cursor.setPosition(fragment.position());
            cursor.setPosition(fragment.position() + fragment.length(), QTextCursor::KeepAnchor);
            cursor.setCharFormat(format);
        }
    }
}

// Chapters on a new page, some air around headings and paragraphs.
void shapeBlocks(QTextDocument &doc)
{
    bool first = true;
    for (QTextBlock block = doc.begin(); block.isValid(); block = block.next()) {
        QTextBlockFormat format = block.blockFormat();
        const int level = format.headingLevel();
        if (level == 2 && !first)
            format.setPageBreakPolicy(QTextFormat::PageBreak_AlwaysBefore);
        if (level == 2)
            first = false;
        if (level > 0) {
            format.setTopMargin(level <= 2 ? 6 : 10);
            format.setBottomMargin(4);
        } else if (!block.textList()) {
            format.setBottomMargin(format.bottomMargin() + 3);
        }
        format.setLineHeight(115, QTextBlockFormat::ProportionalHeight);
        QTextCursor(block).setBlockFormat(format);
    }
}

// Tables with thin rules and some padding, like the tables of a printed manual.
void shapeTables(QTextFrame *frame)
{
    for (QTextFrame *child : frame->childFrames()) {
        if (auto *table = qobject_cast<QTextTable *>(child)) {
            QTextTableFormat format = table->format();
            format.setBorder(0.6);
            format.setBorderStyle(QTextFrameFormat::BorderStyle_Solid);
            format.setBorderBrush(QColor(0x80, 0x80, 0x80));
            format.setBorderCollapse(true);
            format.setCellPadding(4);
            format.setCellSpacing(0);
            format.setWidth(QTextLength(QTextLength::PercentageLength, 100));
            format.setTopMargin(4);
            format.setBottomMargin(8);
            table->setFormat(format);
            // The header row on a light ground.
            for (int c = 0; c < table->columns(); ++c) {
                QTextTableCell cell = table->cellAt(0, c);
                QTextCharFormat cf = cell.format();
                cf.setBackground(QColor(0xE8, 0xEC, 0xF2));
                cell.setFormat(cf);
            }
        }
        shapeTables(child);
    }
}

QFont bodyFont()
{
    // Latin text in a plain sans face; Chinese from whichever CJK face the
    // system has (Qt falls back per glyph as well).
    QFont font;
    font.setFamilies(
        { QStringLiteral("DejaVu Sans"), QStringLiteral("WenQuanYi Micro Hei"), QStringLiteral("Noto Sans CJK SC"),
            QStringLiteral("Microsoft YaHei"), QStringLiteral("SimSun"), QStringLiteral("PingFang SC") });
    font.setPointSizeF(10);
    return font;
}

} // namespace

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() != 3) {
        std::fprintf(stderr, "usage: ostrel_helpgen MANUAL.md OUT.pdf\n");
        return 2;
    }
    const QString source = args.at(1);
    const QString target = args.at(2);

    const QString markdown = expandContents(readSource(source));
    QTextDocument doc;
    doc.setDefaultFont(bodyFont());
    doc.setDocumentMargin(0);
    doc.setMarkdown(markdown, QTextDocument::MarkdownDialectGitHub);
    if (doc.isEmpty())
        fail(source + QStringLiteral(" is empty"));
    placeImages(doc, QFileInfo(source).absolutePath());
    shapeBlocks(doc);
    shapeTables(doc.rootFrame());

    // The first heading is the document's title.
    QString title = QStringLiteral("Ostrel");
    const QRegularExpression firstHeading(QStringLiteral("^# (.+)$"), QRegularExpression::MultilineOption);
    const QRegularExpressionMatch m = firstHeading.match(markdown);
    if (m.hasMatch())
        title = m.captured(1).trimmed();

    QPdfWriter writer(target);
    writer.setResolution(kPrintDpi);
    writer.setTitle(title);
    writer.setCreator(QStringLiteral("Ostrel ostrel_helpgen"));
    writer.setPageLayout(QPageLayout(QPageSize(QPageSize::A4), QPageLayout::Portrait, QMarginsF(0, 0, 0, 0)));
    doc.print(&writer);

    if (QFileInfo(target).size() <= 0)
        fail(QStringLiteral("nothing written to ") + target);
    return 0;
}
