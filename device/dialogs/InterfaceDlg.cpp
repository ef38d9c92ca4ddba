#include "InterfaceDlg.h"
#include "ui_InterfaceDlg.h"

#include "DpiScaler.h"
#include "Lang.h"
#include "Prompt.h"

#include <QEvent>
#include <QRegularExpressionValidator>

InterfaceDlg::InterfaceDlg(const Interfaces::Mapping &current, QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::InterfaceDlg)
{
    ui->setupUi(this);
    m_combo[0] = ui->ch1Combo;
    m_combo[1] = ui->ch2Combo;
    m_plugin[0] = ui->ch1PluginCombo;
    m_plugin[1] = ui->ch2PluginCombo;
    m_name[0] = ui->ch1NameEdit;
    m_name[1] = ui->ch2NameEdit;
    // Plugin names for the typed-in interface: every interface back-end's.
    QStringList plugins;
    for (const Interfaces::Backend &b : Interfaces::backends())
        if (!b.haldenD2 && b.plugins)
            plugins += b.plugins();
    // The settings file separates its entries with "," and ";".
    const QRegularExpression name(QStringLiteral("^[^,;]*$"));
    for (int ch = 0; ch < 2; ++ch) {
        m_plugin[ch]->addItems(plugins);
        m_name[ch]->setValidator(new QRegularExpressionValidator(name, this));
    }
    fillChannel1(current);
    fillChannel2(current);
    connect(ui->ch1Combo, QOverload<int>::of(&QComboBox::currentIndexChanged), this, [this, current] {
        choiceChanged(0);
        fillChannel2(current);
    });
    connect(ui->ch2Combo, QOverload<int>::of(&QComboBox::currentIndexChanged), this, [this] { choiceChanged(1); });
    DpiScaler::attach(this);
}

InterfaceDlg::~InterfaceDlg() = default;

QString InterfaceDlg::choiceText(const Choice &c) const
{
    switch (c.kind) {
    case Choice::Halden:
        if (c.backend == QLatin1String("kestrix"))
            return QStringLiteral("Halden-D2 (Kestrix.dll)");
        if (c.backend == QLatin1String("sim"))
            return Lang::pick(QStringLiteral("内置模拟 Halden-D2"), QStringLiteral("內建模擬 Halden-D2"),
                QStringLiteral("Built-in simulated Halden-D2"));
        return QStringLiteral("Halden-D2 (") + c.backend + QLatin1Char(')');
    case Choice::Listed: {
        QString text = c.itf.plugin + QStringLiteral(": ") + c.itf.name;
        if (!c.itf.description.isEmpty())
            text += QStringLiteral(" (") + c.itf.description + QLatin1Char(')');
        return text;
    }
    case Choice::Other:
        return Lang::pick(QStringLiteral("其他接口（输入名称）"), QStringLiteral("其他介面（輸入名稱）"),
            QStringLiteral("Other interface (type its name)"));
    case Choice::None:
        break;
    }
    return Lang::pick(QStringLiteral("无"), QStringLiteral("無"), QStringLiteral("none"));
}

void InterfaceDlg::fillChannel1(const Interfaces::Mapping &current)
{
    QVector<Choice> &list = m_choices[0];
    int select = -1;
    for (const Interfaces::Backend &b : Interfaces::backends()) {
        if (b.haldenD2) {
            if (current.backend == b.key)
                select = list.size();
            list.append(Choice { Choice::Halden, b.key, {} });
            continue;
        }
        const QList<Interfaces::Interface> found = b.interfaces ? b.interfaces() : QList<Interfaces::Interface>();
        for (const Interfaces::Interface &itf : found) {
            if (current.backend == b.key && current.channel[0] == itf)
                select = list.size();
            list.append(Choice { Choice::Listed, b.key, itf });
        }
        if (current.backend == b.key && select < 0) {
            select = list.size();
            m_plugin[0]->setCurrentText(current.channel[0].plugin);
            m_name[0]->setText(current.channel[0].name);
        }
        list.append(Choice { Choice::Other, b.key, {} });
    }
    // Nothing chosen through this dialog yet: the simulated adapter, or the first entry.
    if (select < 0) {
        for (int i = 0; i < list.size() && select < 0; ++i)
            if (list.at(i).kind == Choice::Halden)
                select = i;
        for (int i = 0; i < list.size(); ++i)
            if (list.at(i).kind == Choice::Halden && list.at(i).backend == QLatin1String("kestrix"))
                select = i;
    }
    const QSignalBlocker block(ui->ch1Combo);
    for (const Choice &c : list)
        ui->ch1Combo->addItem(choiceText(c));
    ui->ch1Combo->setCurrentIndex(qMax(select, 0));
    choiceChanged(0);
}

void InterfaceDlg::fillChannel2(const Interfaces::Mapping &current)
{
    QVector<Choice> &list = m_choices[1];
    list.clear();
    const QSignalBlocker block(ui->ch2Combo);
    ui->ch2Combo->clear();
    const Choice first = chosen(0);
    if (first.kind == Choice::Halden) {
        // The adapter's second channel comes with its first.
        list.append(first);
        ui->ch2Combo->addItem(
            Lang::pick(QStringLiteral("%1 通道2"), QStringLiteral("%1 通道2"), QStringLiteral("%1 channel 2"))
                .arg(choiceText(first)));
        ui->ch2Combo->setEnabled(false);
        choiceChanged(1);
        return;
    }
    ui->ch2Combo->setEnabled(true);
    int select = 0;
    list.append(Choice { Choice::None, first.backend, {} });
    const Interfaces::Backend *b = Interfaces::find(first.backend);
    const QList<Interfaces::Interface> found = b && b->interfaces ? b->interfaces() : QList<Interfaces::Interface>();
    const bool same = current.backend == first.backend;
    for (const Interfaces::Interface &itf : found) {
        if (same && current.channel[1] == itf)
            select = list.size();
        list.append(Choice { Choice::Listed, first.backend, itf });
    }
    if (same && select == 0 && !current.channel[1].plugin.isEmpty()) {
        select = list.size();
        m_plugin[1]->setCurrentText(current.channel[1].plugin);
        m_name[1]->setText(current.channel[1].name);
    }
    list.append(Choice { Choice::Other, first.backend, {} });
    for (const Choice &c : list)
        ui->ch2Combo->addItem(choiceText(c));
    ui->ch2Combo->setCurrentIndex(select);
    choiceChanged(1);
}

void InterfaceDlg::choiceChanged(int ch)
{
    const int i = m_combo[ch]->currentIndex();
    const Choice c = i >= 0 && i < m_choices[ch].size() ? m_choices[ch].at(i) : Choice { Choice::None, {}, {} };
    const bool typed = c.kind == Choice::Other;
    m_plugin[ch]->setEnabled(typed);
    m_name[ch]->setEnabled(typed);
    if (c.kind == Choice::Listed) {
        m_plugin[ch]->setCurrentText(c.itf.plugin);
        m_name[ch]->setText(c.itf.name);
    } else if (!typed) {
        m_name[ch]->clear();
    }
}

InterfaceDlg::Choice InterfaceDlg::chosen(int ch) const
{
    const int i = m_combo[ch]->currentIndex();
    if (i < 0 || i >= m_choices[ch].size())
        return Choice { Choice::None, {}, {} };
    Choice c = m_choices[ch].at(i);
    if (c.kind == Choice::Other)
        c.itf = Interfaces::Interface { m_plugin[ch]->currentText(), m_name[ch]->text().trimmed(), {} };
    return c;
}

Interfaces::Mapping InterfaceDlg::mapping() const
{
    Interfaces::Mapping m;
    const Choice first = chosen(0);
    m.backend = first.backend;
    if (first.kind == Choice::Halden)
        return m;
    m.channel[0] = first.itf;
    const Choice second = chosen(1);
    if (second.kind == Choice::Listed || second.kind == Choice::Other)
        m.channel[1] = second.itf;
    return m;
}

void InterfaceDlg::on_btnConfirm_clicked()
{
    for (int ch = 0; ch < 2; ++ch) {
        const Choice c = chosen(ch);
        if (c.kind == Choice::Other && (c.itf.plugin.isEmpty() || c.itf.name.isEmpty())) {
            Prompt::warning(this, Lang::warningTitle(),
                Lang::pick(QStringLiteral("请输入通道%1的接口名称！"), QStringLiteral("請輸入通道%1的介面名稱！"),
                    QStringLiteral("Please enter the interface name of channel %1!"))
                    .arg(ch + 1));
            m_name[ch]->setFocus();
            return;
        }
    }
    accept();
}

void InterfaceDlg::on_btnCancel_clicked() { reject(); }

void InterfaceDlg::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        ui->retranslateUi(this);
    QDialog::changeEvent(event);
}
