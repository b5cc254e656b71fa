#include "accounts/server_profile.h"
#include "app/addresses.h"
#include "app/launcher.h"
#include "app/settings_keys.h"

#include <QComboBox>
#include <QDialog>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QUrl>
#include <QVBoxLayout>

#include <stdexcept>

using namespace Qt::Literals::StringLiterals;

namespace vok
{
namespace
{

constexpr int kLeastWidth = 460;

QLineEdit* newLine(const QString& objectName, const QString& placeholder = {})
{
    auto* line = new QLineEdit;
    line->setObjectName(objectName);
    line->setPlaceholderText(placeholder);
    return line;
}

// What the file holds is looked at by each request.
QString caFileOf(const QString& entered)
{
    QString ca = entered.trimmed();
    if (!ca.isEmpty() && !QFileInfo(ca).isFile())
        throw std::runtime_error("CA sertifika dosyası bulunamadı");
    return ca;
}

QStringList itemsOf(const QComboBox& combo)
{
    QStringList items;
    for (int index = 0; index < combo.count(); ++index)
        items.append(combo.itemText(index));
    return items;
}

} // namespace

void Launcher::buildServerDialog()
{
    serverDialog = new QDialog(this);
    serverDialog->setObjectName(u"serverDialog"_s);
    serverDialog->setWindowTitle(u"Sunucu ekle / düzenle"_s);
    serverDialog->setMinimumWidth(kLeastWidth);
    auto* column = new QVBoxLayout(serverDialog);
    column->addLayout(buildServerForm());

    auto* row = new QHBoxLayout;
    row->addStretch();
    addActionButton(row, u"İptal"_s, u"cancelServer"_s, [this] { serverDialog->reject(); });
    addActionButton(row, u"Kaydet"_s, u"saveServer"_s, [this] { saveServerProfile(); })->setDefault(true);
    column->addLayout(row);
}

QFormLayout* Launcher::buildServerForm()
{
    auto* form = new QFormLayout;
    serverName = newLine(u"serverName"_s);
    form->addRow(u"Ad"_s, serverName);
    serverAddress = newLine(u"serverAddress"_s, addresses::kExampleHost + u" veya sunucu:7443"_s);
    form->addRow(u"Adres"_s, serverAddress);

    serverCa = newLine(u"serverCa"_s, u"boş = sistem güveni"_s);
    auto* row = new QHBoxLayout;
    row->addWidget(serverCa, 1);
    addActionButton(row, u"Seç…"_s, u"serverCaBrowse"_s, [this] {
        const QString chosen = QFileDialog::getOpenFileName(
            serverDialog, u"Sunucu CA sertifikası"_s, serverCa->text(), u"PEM (*.pem *.crt);;Tümü (*)"_s);
        if (!chosen.isEmpty())
            serverCa->setText(chosen);
    });
    auto* caLabel = new QLabel(u"CA sertifikası"_s);
    caLabel->setBuddy(serverCa);
    form->addRow(caLabel, row);
    return form;
}

void Launcher::openServerDialog()
{
    // What has been typed so far must not be replaced.
    if (serverDialog->isVisible()) {
        serverDialog->raise();
        serverDialog->activateWindow();
        return;
    }
    serverName->setText(profiles->currentText());
    serverAddress->setText(QUrl(currentAuth()).authority());
    serverCa->setText(currentCa());
    serverName->setFocus();
    serverDialog->open();
}

void Launcher::saveServerProfile()
{
    const QString name = profileNameOf(serverName->text());
    const QString auth = authOriginOf(serverAddress->text());
    const QString ca = caFileOf(serverCa->text());
    settings.setValue(keys::profileKey(name), serialiseProfile({auth, ca}));
    if (profiles->findData(name, Qt::DisplayRole, Qt::MatchCaseSensitive) < 0)
        profiles->addItem(name);
    settings.setValue(keys::kProfileNames, itemsOf(*profiles));
    settings.sync();
    serverDialog->accept();
    selectProfile(name);
}

} // namespace vok
