#include "INfDialog.h"
#include "ui_INfDialog.h"

#include "DeviceLayer.h"
#include "DpiScaler.h"

#include <QDebug>
#include <QEvent>
#include <cstring>

namespace {
// Latin-1 text of at most `size` bytes, cut at the first zero byte.
QString textUpToZero(const char *bytes, size_t size)
{
    const void *zero = std::memchr(bytes, 0, size);
    const size_t len = zero ? size_t(static_cast<const char *>(zero) - bytes) : size;
    return QString::fromLatin1(bytes, int(len));
}
} // namespace

INfDialog::INfDialog(DeviceInfoRecord record, QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::INfDialog)
{
    ui->setupUi(this);

    const auto *raw = reinterpret_cast<const char *>(&record);
    ui->labelhwVersion->setText(versionText(record.hwVersion));
    ui->labelfwVersion->setText(versionText(record.fwVersion));
    ui->labeldrVersion->setText(versionText(record.drVersion));
    ui->labelinVersion->setText(versionText(record.inVersion));
    ui->labelirqNum->setText(QString::number(record.irqNum));
    ui->labelcanNum->setText(QString::number(record.canNum));
    // The serial number is not necessarily terminated: all 20 bytes are taken.
    // Zero padding would only paint as empty boxes, so it is left out.
    ui->labelSerialNum->setText(
        QString::fromLatin1(record.serialNumber, int(sizeof record.serialNumber)).remove(QChar(QChar::Null)));
    // The hardware type runs to its zero byte, at most to the end of the record.
    const size_t typeOffset = offsetof(DeviceInfoRecord, hwType);
    ui->labelhwType->setText(textUpToZero(raw + typeOffset, sizeof record - typeOffset));

    qDebug() << textUpToZero(record.serialNumber, sizeof record.serialNumber);
    DpiScaler::attach(this);
}

INfDialog::INfDialog(const Interfaces::Mapping &mapping, QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::INfDialog)
{
    ui->setupUi(this);
    const QString none = QStringLiteral("-");
    QStringList plugins, descriptions;
    int channels = 0;
    for (const Interfaces::Interface &itf : mapping.channel) {
        if (itf.plugin.isEmpty())
            continue;
        ++channels;
        if (!plugins.contains(itf.plugin))
            plugins << itf.plugin;
        const QString description = itf.description.isEmpty() ? itf.plugin : itf.description;
        if (!descriptions.contains(description))
            descriptions << description;
    }
    ui->labelhwVersion->setText(none);
    ui->labelfwVersion->setText(none);
    ui->labeldrVersion->setText(plugins.join(QStringLiteral(", ")));
    ui->labelinVersion->setText(QStringLiteral("QtSerialBus ") + QLatin1String(qVersion()));
    ui->labelirqNum->setText(none);
    ui->labelcanNum->setText(QString::number(channels));
    ui->labelSerialNum->setText(Interfaces::mappingText(mapping));
    ui->labelhwType->setText(descriptions.join(QStringLiteral(", ")));
    DpiScaler::attach(this);
}

INfDialog::~INfDialog() = default;

void INfDialog::on_pushButton_clicked() { close(); }

void INfDialog::changeEvent(QEvent *event)
{
    // The values are set once, outside the catalogue; only the captions change.
    if (event->type() == QEvent::LanguageChange)
        ui->retranslateUi(this);
    QDialog::changeEvent(event);
}
