/// An account service in the test's process, and the profile that leads a window to it.
#pragma once

#include "support/exchange.h"
#include "support/https_server.h"

namespace vok::test_support
{

/// Answers 200 and "{}" until the test says otherwise.
class AccountService : public HttpsServer
{
public:
    explicit AccountService(Handler handler = {})
        : HttpsServer(authority().issue(), std::move(handler))
    {
    }

    ServerProfile profile() const { return {origin(), authority().pemPath()}; }

    /// Lets windows that are opened from now on begin with the service's profile, "Deneme".
    void select() const { selectProfile(profile().auth, profile().ca); }

    /// Holds every answer back until the test releases it.
    void hold(const HttpAnswer& answer)
    {
        setHandler([answer](const HttpRequest&) { return held(answer); });
    }
    void answerWith(const HttpAnswer& answer)
    {
        setHandler([answer](const HttpRequest&) { return answer; });
    }

private:
    static TestAuthority authority() { return TestAuthority(QStringLiteral("Account service CA")); }
};

/// The answer to a login that was accepted.
inline HttpAnswer sessionAnswer(const QByteArray& token)
{
    return json(200, {{QStringLiteral("session"), QString::fromLatin1(token)}});
}

/// The answer of a service that refuses and says why.
inline HttpAnswer refusal(int status, const QString& message)
{
    return json(status, {{QStringLiteral("error"), QJsonObject{{QStringLiteral("message"), message}}}});
}

} // namespace vok::test_support
