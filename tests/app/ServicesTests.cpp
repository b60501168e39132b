#include "app/Services.h"
#include "support/core/Environment.h"
#include "support/keyring/PrivateKeyring.h"
#include "support/keyring/ScriptedKeyring.h"
#include "support/x11/Await.h"

#include <gmock/gmock.h>

namespace velmo {

TEST(ServicesTest, TheirEndEndsAQuestionThatIsStillOpen)
{
    using test::KeyringScript;
    const test::PrivateKeyring home;
    test::ScriptedKeyring keyring(home.busAddress());
    keyring.with([](KeyringScript& script) {
        script.collections[KeyringScript::kMain] = {.isLocked = true};
        script.prompt = KeyringScript::Prompt::Waits;
    });
    const QByteArray folder = home.environment().value(QStringLiteral("HOME")).toUtf8();
    const EnvironmentVariable config("XDG_CONFIG_HOME", folder);
    const EnvironmentVariable choice("VELMO_KEYRING");
    const EnvironmentVariable address("DBUS_SESSION_BUS_ADDRESS",
                                      QByteArray::fromStdString(home.busAddress()));

    std::optional<Services> services(Services::Waiting::Interface);
    Keychain& keychain = services->keychain(); // The settings have it, too, so it stays.
    EXPECT_EQ(keychain.write(QStringLiteral("s"), QStringLiteral("a"), "secret"), Keychain::Status::Pending);
    ASSERT_TRUE(test::awaitCondition([&] { return keyring.countOf("Prompt") == 1; }));
    services.reset();
    EXPECT_EQ(keychain.write(QStringLiteral("s"), QStringLiteral("b"), "secret"),
              Keychain::Status::Unavailable)
        << "nothing is written late any more";
    EXPECT_EQ(keyring.countOf("Prompt"), 1);
}

} // namespace velmo
