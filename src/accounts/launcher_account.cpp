#include "accounts/secret_bytes.h"
#include "accounts/session_reply.h"
#include "app/launcher.h"
#include "app/presentable_text.h"
#include "app/settings_keys.h"

#include <QInputDialog>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>

#include <stdexcept>

using namespace Qt::Literals::StringLiterals;

namespace vok
{
namespace
{

QString welcome(const QString& user)
{
    return u"<span style='color:#f4c552;font-size:12pt;font-weight:bold'>Hoş Geldin, "_s
           + presentable(user).toHtmlEscaped()
           + u"</span><br><br><span style='color:#d8c7a8'>Selvira kapıları açıldı. Karakter seçimi ve yaratma işlemi "
             "3B oyun ekranında yapılır.</span>"_s;
}

} // namespace

void Launcher::logIn()
{
    api(u"/v1/login"_s, "POST", {{u"username"_s, username->text()}, {u"password"_s, password->text()}}, false,
        [this](const QByteArray& answer) { acceptSession(answer); });
}

void Launcher::acceptSession(const QByteArray& answer)
{
    overwrite(sessionToken);
    sessionToken = parseSessionReply(answer);
    clearPassword();
    if (sessionToken.isEmpty()) {
        clearSession();
        refreshPages();
        throw std::runtime_error("Sunucudan geçersiz oturum yanıtı geldi");
    }
    sessionAuth = currentAuth();
    settings.setValue(keys::kAccountUsername, username->text());
    account->setText(welcome(username->text()));
    status->setText(u"Oturum açıldı — Tarvun: Selvira dünyasına hazırsınız."_s);
    refreshPages();
}

void Launcher::registerAccount()
{
    api(u"/v1/register"_s, "POST", {{u"username"_s, username->text()}, {u"password"_s, password->text()}}, false,
        [this](const QByteArray&) {
            clearPassword();
            status->setText(u"Hesap oluşturuldu; şimdi Giriş Yap butonuna basın."_s);
        });
}

void Launcher::resetPassword()
{
    bool isEntered = false;
    const QString code = QInputDialog::getText(
        this, u"Parola sıfırla"_s, u"Yöneticinin verdiği tek kullanımlık kod (yeni parolayı Parola alanına yazın)"_s,
        QLineEdit::Password, {}, &isEntered);
    if (!isEntered)
        return;
    api(u"/v1/reset"_s, "POST",
        {{u"username"_s, username->text()}, {u"token"_s, code}, {u"new_password"_s, password->text()}}, false,
        [this](const QByteArray&) {
            clearSession();
            refreshPages();
            status->setText(u"Parola değiştirildi"_s);
        });
}

void Launcher::logOut()
{
    api(u"/v1/logout"_s, "POST", {}, true, [this](const QByteArray&) {
        clearSession();
        refreshPages();
        status->setText(u"Oturum kapatıldı"_s);
    });
}

void Launcher::requireSession() const
{
    if (sessionToken.isEmpty() || currentAuth() != sessionAuth)
        throw std::runtime_error("Önce seçili sunucuya giriş yapın");
}

void Launcher::clearSession()
{
    overwrite(sessionToken);
    clearPassword();
    sessionAuth.clear();
}

void Launcher::clearPassword()
{
    // QLineEdit::clear would keep the password in the history of the field.
    password->setText(QString());
}

} // namespace vok
