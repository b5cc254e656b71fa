/// A player at the login page.
#pragma once

#include "support/account_service.h"
#include "support/launcher_window.h"
#include "support/modal_player.h"
#include "support/temp_tree.h"

#include <memory>

namespace vok::test_support
{

inline const QByteArray kToken = "0123456789abcdef" + QByteArray(48, 'f');
inline const QString kStale = QStringLiteral("Server profile changed; stale response discarded");

/// A window that is about to talk to a service of the test's own.
struct SignIn
{
    explicit SignIn(const HttpAnswer& answer = {.body = "{}"})
        : root(std::make_unique<TempTree>())
    {
        root->write(QStringLiteral("asset-manifest.json"), {});
        service.answerWith(answer);
        service.select();
        window = std::make_unique<LauncherWindow>(root->path());
        password().setText(QStringLiteral("gizli"));
        username().setText(QStringLiteral("ayşe"));
    }

    QLineEdit& username() const { return window->find<QLineEdit>("username"); }
    QLineEdit& password() const { return window->find<QLineEdit>("password"); }
    QByteArray& token() const { return window->access.sessionToken(); }
    bool isIdle() const { return window->access.activeReplies().isEmpty(); }
    void beLoggedIn() const { window->access.logIn(service.origin()); }

    AccountService service;
    std::unique_ptr<TempTree> root;
    std::unique_ptr<LauncherWindow> window;
};

} // namespace vok::test_support
