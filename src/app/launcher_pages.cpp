#include "app/launcher.h"
#include "app/settings_keys.h"
#include "app/unfinished_action.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QSysInfo>
#include <QVBoxLayout>

using namespace Qt::Literals::StringLiterals;

namespace vok
{
namespace
{

constexpr int kExtractButtonHeight = 42;
constexpr int kAccountButtonHeight = 38;
constexpr int kPlayButtonHeight = 48;
constexpr int kLoginPageMargin = 6;
constexpr int kLoginPageSpacing = 8;
constexpr int kPlayPageMargin = 8;
constexpr int kPlayPageSpacing = 10;

QString platformDisplayName()
{
    return QSysInfo::productType() == u"windows"_s ? u"Windows"_s : u"Linux"_s;
}

QLabel* wrappedLabel(const QString& text)
{
    auto* label = new QLabel(text);
    label->setWordWrap(true);
    return label;
}

// For texts that hold a path or somebody else's words: a word that cannot be broken is cut off rather than made the
// width of the window.
QLabel* boundedLabel(const QString& text, Qt::TextFormat format)
{
    QLabel* label = wrappedLabel(text);
    label->setTextFormat(format);
    QSizePolicy policy = label->sizePolicy();
    policy.setHorizontalPolicy(QSizePolicy::Ignored);
    label->setSizePolicy(policy);
    return label;
}

// Never taken for markup.
QLabel* literalLabel(const QString& text)
{
    return boundedLabel(text, Qt::PlainText);
}

QLabel* pageTitle(const QString& text)
{
    auto* label = new QLabel(text);
    label->setObjectName(u"skinTitle"_s);
    return label;
}

QWidget* newPage(const QString& objectName, int margin, int spacing)
{
    auto* page = new QWidget;
    page->setObjectName(objectName);
    auto* column = new QVBoxLayout(page);
    column->setContentsMargins(margin, margin, margin, margin);
    column->setSpacing(spacing);
    return page;
}

} // namespace

void Launcher::buildWindow()
{
    auto* column = new QVBoxLayout(this);
    column->addLayout(buildHeader());

    pages = new QStackedWidget;
    pages->setObjectName(u"pages"_s);
    installPage = buildInstallPage();
    loginPage = buildLoginPage();
    playPage = buildPlayPage();
    for (QWidget* page : {installPage, loginPage, playPage})
        pages->addWidget(page);
    connect(pages, &QStackedWidget::currentChanged, this, &Launcher::updateSkinActions);
    column->addWidget(pages, 1);

    status = literalLabel(u"Tarvun: Selvira başlatıcısı hazır."_s);
    status->setObjectName(u"status"_s);
    column->addWidget(status);

    progress = new QProgressBar;
    progress->setObjectName(u"progress"_s);
    progress->setTextVisible(false);
    progress->setRange(0, 1);
    progress->hide();
    column->addWidget(progress);
}

QBoxLayout* Launcher::buildHeader()
{
    auto* header = new QHBoxLayout;
    auto* title = new QLabel(
        u"<span style='font-size:20pt;font-weight:bold'>Tarvun: Selvira</span><br>Bağımsız %1 başlatıcısı"_s.arg(
            platformDisplayName()));
    title->setTextFormat(Qt::RichText);
    header->addWidget(title, 1);
    addActionButton(header, u"⚙ Ayarlar"_s, u"settingsButton"_s, [this] {
        settingsDialog->show();
        settingsDialog->raise();
        settingsDialog->activateWindow();
    });
    // What its click does is the server panel's business.
    addActionButton(header, u"Sunucu Kur"_s, u"hostButton"_s, [] {});
    return header;
}

QWidget* Launcher::buildInstallPage()
{
    auto* page = new QWidget;
    page->setObjectName(u"installPage"_s);
    auto* column = new QVBoxLayout(page);
    column->addWidget(wrappedLabel(u"<h3>Oyun Dosyalarını Hazırla</h3>Tarvun: Selvira dünyasına girmek için kurulum "
                                   "paketini veya mevcut oyun klasörünü seçin."_s));
    addActionButton(column, u"Kurulum dosyasını seç (tarvunkur6_0.exe)"_s, u"extractButton"_s, [this] {
        importAssets(true);
    })->setMinimumHeight(kExtractButtonHeight);
    addActionButton(column, u"Mevcut kurulum klasörünü seç"_s, u"importButton"_s, [this] { importAssets(false); });

    hostAfterInstall = new QCheckBox(u"Bu bilgisayarda yerel sunucu da kur (Sunucu Kur)"_s);
    hostAfterInstall->setObjectName(u"hostAfterInstall"_s);
    column->addWidget(hostAfterInstall);

    installLabel = literalLabel(QString());
    installLabel->setEnabled(false);
    column->addWidget(installLabel);
    column->addStretch();
    return page;
}

QWidget* Launcher::buildLoginPage()
{
    QWidget* page = newPage(u"loginPage"_s, kLoginPageMargin, kLoginPageSpacing);
    auto* column = static_cast<QVBoxLayout*>(page->layout());
    column->addWidget(pageTitle(u"HESAP GİRİŞİ & KAYIT"_s));
    column->addLayout(buildLoginForm());

    auto* row = new QHBoxLayout;
    loginButton = addActionButton(row, u"GİRİŞ YAP"_s, u"loginButton"_s, [this] { logIn(); });
    QPushButton* registration = addActionButton(row, u"KAYIT OL"_s, u"registerButton"_s, [this] { registerAccount(); });
    for (QPushButton* button : {loginButton, registration})
        button->setMinimumHeight(kAccountButtonHeight);
    connect(password, &QLineEdit::returnPressed, loginButton, &QPushButton::click);
    column->addLayout(row);

    addActionButton(column, u"Parola sıfırla (yönetici kodu ile)"_s, u"resetButton"_s, [this] {
        resetPassword();
    })->setFlat(true);
    column->addStretch();
    return page;
}

QFormLayout* Launcher::buildLoginForm()
{
    auto* form = new QFormLayout;
    profiles = new QComboBox;
    profiles->setObjectName(u"profiles"_s);
    // Else the longest name would be the width of the window.
    profiles->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    auto* row = new QHBoxLayout;
    row->addWidget(profiles, 1);
    addActionButton(row, u"Ekle"_s, u"addServer"_s, [this] { openServerDialog(); });
    auto* serverLabel = new QLabel(u"Sunucu"_s);
    serverLabel->setBuddy(profiles);
    form->addRow(serverLabel, row);

    username = new QLineEdit(settings.value(keys::kAccountUsername).toString());
    username->setObjectName(u"username"_s);
    form->addRow(u"Kullanıcı Adı"_s, username);

    password = new QLineEdit;
    password->setObjectName(u"password"_s);
    password->setEchoMode(QLineEdit::Password);
    form->addRow(u"Parola"_s, password);
    return form;
}

QWidget* Launcher::buildPlayPage()
{
    QWidget* page = newPage(u"playPage"_s, kPlayPageMargin, kPlayPageSpacing);
    auto* column = static_cast<QVBoxLayout*>(page->layout());
    column->addWidget(pageTitle(u"AKTİF OTURUM"_s));

    account = boundedLabel(QString(), Qt::RichText);
    account->setObjectName(u"account"_s);
    column->addWidget(account);

    playButton = addActionButton(column, u"TARVUN'E GİR"_s, u"playButton"_s, [this] { play(); });
    playButton->setMinimumHeight(kPlayButtonHeight);

    auto* row = new QHBoxLayout;
    row->addStretch();
    addActionButton(row, u"Oturumu Kapat"_s, u"logoutButton"_s, [this] { logOut(); });
    column->addLayout(row);
    column->addStretch();
    return page;
}

} // namespace vok
