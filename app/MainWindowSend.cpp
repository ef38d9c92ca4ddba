// The two send panels of the main window.
#include "MainWindow.h"
#include "ui_MainWindow.h"

#include "DataDlg.h"
#include "DeviceLayer.h"
#include "Lang.h"
#include "Prompt.h"
#include "SendRules.h"
#include "SettingsStore.h"
#include "fileDlg.h"
#include "sendThread.h"

#include <QStandardItemModel>

namespace {
QString boolText(bool on) { return on ? QStringLiteral("1") : QStringLiteral("0"); }
} // namespace

MainWindow::Panel MainWindow::panel(int ch) const
{
    if (ch == 0)
        return { ui->ch1FrameTypeCombo, ui->ch1FrameDataCombo, ui->ch1ProtocolCombo, ui->ch1SendTypeCombo,
            ui->ch1sendLenCombo, ui->ch1SendDataEdit, ui->ch1SendIDEdit, ui->ch1SendCountEdit, ui->ch1SendInvEdit,
            ui->ch1DataAddChk, ui->ch1IDAddChk, ui->ch1SendBtn, ui->ch1StopSendBtn, ui->pushButton_3,
            ui->ch1SendFileBtn };
    return { ui->ch2FrameTypeCombo, ui->ch2FrameDataCombo, ui->ch2ProtocolCombo, ui->ch2SendTypeCombo,
        ui->ch2sendLenCombo, ui->ch2SendDataEdit, ui->ch2SendIDEdit, ui->ch2SendCountEdit, ui->ch2SendInvEdit,
        ui->ch2DataAddChk, ui->ch2IDAddChk, ui->ch2SendBtn, ui->ch2StopSendBtn, ui->pushButton_4, ui->ch2SendFileBtn };
}

void MainWindow::on_ch1SendBtn_clicked() { sendClicked(0); }
void MainWindow::on_ch2SendBtn_clicked() { sendClicked(1); }

void MainWindow::sendClicked(int ch)
{
    const Panel w = panel(ch);
    auto store = [](QWidget *widget, const QString &value, bool writeNow = false) {
        SettingsStore::setValue(widget->objectName(), value, writeNow);
    };
    store(w.frameType, QString::number(w.frameType->currentIndex()));
    store(w.frameData, QString::number(w.frameData->currentIndex()));
    store(w.protocol, QString::number(w.protocol->currentIndex()));
    store(w.sendType, QString::number(w.sendType->currentIndex()));
    store(w.len, QString::number(w.len->currentIndex()));
    store(w.data, w.data->text());
    store(w.id, w.id->text());
    store(w.count, w.count->text());
    store(w.inv, w.inv->text());
    store(w.dataAdd, boolText(w.dataAdd->isChecked()));
    store(w.idAdd, boolText(w.idAdd->isChecked()), true);

    if (!isChannelOpen(ch)) {
        const QString text = SendRules::channelNotOpenMessage(uint(ch));
        Prompt::warning(this, Lang::noticeTitle(), text);
        writeLog(text);
        return;
    }

    const int format = w.frameType->currentIndex();
    if (!SendRules::idInRange(SendRules::parseId(w.id->text()), format != 0)) {
        Prompt::warning(this, Lang::warningTitle(), SendRules::idRangeMessage(format != 0, uint(ch)));
        return;
    }

    normaliseData(ch);
    uint8_t buffer[64];
    SendRules::parseBytes(w.data->text(), buffer);
    const uint length = w.len->currentText().toUInt();
    const int protocol = w.protocol->currentIndex();
    // endSend re-enables the button just before the run returns: give that
    // last step its moment. A send still running on this channel keeps its
    // frame: the button is never enabled then, and the thread refuses a new
    // one besides.
    m_send[ch]->wait(100);
    if (!m_send[ch]->setSend(w.id->text().toUInt(nullptr, 16), w.idAdd->isChecked() ? 1 : 0, uint(format),
            protocol != 0 ? 1u : 0u, protocol == 2 ? 1 : 0, buffer, length, w.dataAdd->isChecked() ? 1 : 0,
            w.count->text().toLongLong(), 1, w.inv->text().toUInt(), uint(w.frameData->currentIndex()),
            uint(w.sendType->currentIndex())))
        return;
    w.send->setEnabled(false);
    w.stop->setEnabled(true);
    for (QWidget *x : std::initializer_list<QWidget *> {
             w.dataAdd, w.frameType, w.idAdd, w.protocol, w.count, w.data, w.editor, w.id, w.inv, w.len })
        x->setEnabled(false);
    m_send[ch]->start();
    w.frameData->setEnabled(false);
    w.sendType->setEnabled(false);
}

void MainWindow::on_ch1StopSendBtn_clicked() { m_send[0]->stop(); }

void MainWindow::on_ch2StopSendBtn_clicked()
{
    m_send[1]->stop();
    // A file send runs on channel 1's thread but disables both panels.
    if (m_fileSending)
        m_send[0]->stop();
}

void MainWindow::normaliseData(int ch)
{
    QLineEdit *edit = panel(ch).data;
    edit->setText(SendRules::normaliseData(edit->text()));
}

void MainWindow::setCh1SendData() { normaliseData(0); }
void MainWindow::setCh2SendData() { normaliseData(1); }

void MainWindow::on_ch1ProtocolCombo_currentIndexChanged(int index) { protocolChanged(0, index); }
void MainWindow::on_ch2ProtocolCombo_currentIndexChanged(int index) { protocolChanged(1, index); }

void MainWindow::protocolChanged(int ch, int index)
{
    QComboBox *len = panel(ch).len;
    auto *model = qobject_cast<QStandardItemModel *>(len->model());
    if (model) {
        // Lengths 12 to 64 exist only for CAN FD.
        for (int i = 9; i < 16 && i < len->count(); ++i)
            model->setData(model->index(i, 0), index != 0 ? 255 : 0, Qt::UserRole - 1);
    }
    if (index == 0 && len->currentText().toInt() >= 9)
        len->setCurrentText(QStringLiteral("8"));
}

void MainWindow::on_ch1sendLenCombo_currentIndexChanged(int index)
{
    lengthChanged(0, ui->ch1sendLenCombo->itemText(index));
}
void MainWindow::on_ch2sendLenCombo_activated(int index) { lengthChanged(1, ui->ch2sendLenCombo->itemText(index)); }

void MainWindow::lengthChanged(int ch, const QString &len)
{
    QLineEdit *edit = panel(ch).data;
    edit->setText(SendRules::cutData(SendRules::normaliseData(edit->text()), len.toInt()));
}

void MainWindow::on_ch1FrameDataCombo_currentIndexChanged(int index) { frameDataChanged(0, index); }
void MainWindow::on_ch2FrameDataCombo_currentIndexChanged(int index) { frameDataChanged(1, index); }

void MainWindow::frameDataChanged(int ch, int index)
{
    QComboBox *protocol = panel(ch).protocol;
    if (index == 1) {
        // A remote frame is classic CAN only.
        protocol->setCurrentIndex(0);
        protocol->setEnabled(false);
    } else {
        protocol->setEnabled(true);
    }
}

void MainWindow::on_pushButton_3_clicked() { editData(0); }
void MainWindow::on_pushButton_4_clicked() { editData(1); }

void MainWindow::editData(int ch)
{
    const Panel w = panel(ch);
    normaliseData(ch);
    uint8_t buffer[64];
    SendRules::parseBytes(w.data->text(), buffer);
    const int length = qBound(0, w.len->currentText().toInt(), 64);
    DataDlg dlg(buffer, length, this);
    if (dlg.exec() != QDialog::Accepted)
        return;
    const QByteArray bytes = dlg.result();
    w.data->setText(SendRules::bytesText(reinterpret_cast<const uint8_t *>(bytes.constData()), bytes.size()));
}

void MainWindow::on_ch1SendFileBtn_clicked()
{
    m_fileDlg->show();
    m_fileDlg->raise();
    m_fileDlg->activateWindow();
}

void MainWindow::on_ch2SendFileBtn_clicked() { on_ch1SendFileBtn_clicked(); }

void MainWindow::setPanelInputsEnabled(int ch, bool enabled)
{
    const Panel w = panel(ch);
    for (QWidget *x : std::initializer_list<QWidget *> { w.dataAdd, w.frameType, w.idAdd, w.count, w.data, w.editor,
             w.id, w.inv, w.len, w.frameData, w.sendType, w.file })
        x->setEnabled(enabled);
    w.protocol->setEnabled(enabled && w.frameData->currentIndex() == 0);
}

void MainWindow::endSend(uint channel)
{
    const int ch = channel ? 1 : 0;
    if (ch == 0) {
        m_fileDlg->setIdle();
        m_fileSending = false;
    }
    const Panel w = panel(ch);
    w.send->setEnabled(isChannelOpen(ch));
    w.stop->setEnabled(false);
    setPanelInputsEnabled(ch, true);
}

void MainWindow::onFileSend(QString path, int count, int interval, int channel)
{
    if (m_send[0]->isRunning() || m_send[1]->isRunning()) {
        // Only one send at a time: give the dialog its controls back.
        m_fileDlg->setIdle();
        return;
    }
    if (!m_send[0]->setFileSend(path, count, static_cast<uint>(interval), static_cast<uint>(channel))) {
        m_fileDlg->setIdle();
        return;
    }
    m_fileSending = true;
    m_send[0]->start();
    for (int ch = 0; ch < 2; ++ch) {
        const Panel w = panel(ch);
        w.send->setEnabled(false);
        setPanelInputsEnabled(ch, false);
        w.protocol->setEnabled(false);
        w.stop->setEnabled(true);
    }
}

void MainWindow::onFileStop() { m_send[0]->stop(); }

void MainWindow::restorePanel(int ch)
{
    const Panel w = panel(ch);
    auto v = [](QWidget *widget, const char *def) {
        return SettingsStore::value(widget->objectName(), QString::fromUtf8(def));
    };
    w.frameType->setCurrentIndex(v(w.frameType, "0").toInt());
    w.frameData->setCurrentIndex(v(w.frameData, "0").toInt());
    w.protocol->setCurrentIndex(v(w.protocol, "0").toInt());
    protocolChanged(ch, w.protocol->currentIndex());
    frameDataChanged(ch, w.frameData->currentIndex());
    w.sendType->setCurrentIndex(v(w.sendType, "0").toInt());
    w.len->setCurrentIndex(v(w.len, "8").toInt());
    w.data->setText(v(w.data, "00 11 22 33 44 55 66 77"));
    w.id->setText(v(w.id, "00000001"));
    w.count->setText(v(w.count, "1"));
    w.inv->setText(v(w.inv, "10"));
    w.dataAdd->setChecked(v(w.dataAdd, "0") == QLatin1String("1"));
    // The ID-increment box follows the data-increment key; its own key is
    // written on send but never read back.
    w.idAdd->setChecked(v(w.dataAdd, "0") == QLatin1String("1"));
}

void MainWindow::lateInit()
{
    restorePanel(0);
    restorePanel(1);
}
