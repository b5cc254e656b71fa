#include "app/profile_seeding.h"
#include "support/temp_tree.h"

#include <QSettings>
#include <QTest>

#include <memory>

using namespace Qt::Literals::StringLiterals;
using namespace vok;
using vok::test_support::TempTree;

class TestProfileSeeding : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void seedsAnEmptyStore();
    void retiresTheFormerNameAndKeepsThePlayersProfile();
    void restoresThePublicProfile();
    void keepsWhatThePlayerStoredUnderTheOtherNames_data();
    void keepsWhatThePlayerStoredUnderTheOtherNames();
    void ordersNames_data();
    void ordersNames();
    void selectsTheLastProfile_data();
    void selectsTheLastProfile();
    void doesNotWriteTheLastProfile();
    void seedsTheSameTwice();
    void readsAListOfOneNameAndBytesThatAreNoUtf8();

private:
    SeededProfiles seeded() { return seedProfiles(*store, u"/opt/vok/bin"_s); }
    QByteArray saved(const QString& name) const { return store->value(u"profiles/"_s + name).toByteArray(); }

    std::unique_ptr<TempTree> tree;
    std::unique_ptr<QSettings> store;
};

namespace
{

const QByteArray kPublic =
    R"({"auth":"https://auth.tarvun-selvira.example:7443","ca":"/opt/vok/bin/../ormelan-zevti-ca.pem"})"_ba;
const QByteArray kLocal = R"({"auth":"https://localhost:7443","ca":""})"_ba;
const QByteArray kOwn = R"({"auth":"https://own.example:7443","ca":"/own.pem"})"_ba;

} // namespace

void TestProfileSeeding::init()
{
    store.reset();
    tree = std::make_unique<TempTree>();
    store = std::make_unique<QSettings>(tree->path(u"store.conf"_s), QSettings::IniFormat);
}

void TestProfileSeeding::seedsAnEmptyStore()
{
    const SeededProfiles profiles = seeded();
    QCOMPARE(profiles.names, QStringList({u"Tarvun: Selvira"_s, u"Localhost"_s}));
    QCOMPARE(profiles.selected, u"Tarvun: Selvira"_s);
    QCOMPARE(store->value(u"profileNames"_s).toStringList(), profiles.names);
    QCOMPARE(saved(u"Tarvun: Selvira"_s), kPublic);
    QCOMPARE(saved(u"Ormelan Zevti"_s), kPublic);
    QCOMPARE(saved(u"Localhost"_s), kLocal);
}

void TestProfileSeeding::retiresTheFormerNameAndKeepsThePlayersProfile()
{
    store->setValue(u"profileNames"_s, QStringList({u"Ormelan Zevti"_s, u"Benim"_s}));
    store->setValue(u"lastProfile"_s, u"Ormelan Zevti"_s);
    const SeededProfiles profiles = seeded();
    QCOMPARE(profiles.names, QStringList({u"Tarvun: Selvira"_s, u"Benim"_s, u"Localhost"_s}));
    QCOMPARE(profiles.selected, u"Tarvun: Selvira"_s);
}

void TestProfileSeeding::restoresThePublicProfile()
{
    store->setValue(u"profiles/Tarvun: Selvira"_s, kOwn);
    seeded();
    QCOMPARE(saved(u"Tarvun: Selvira"_s), kPublic);
}

void TestProfileSeeding::keepsWhatThePlayerStoredUnderTheOtherNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("local server") << u"Localhost"_s;
    QTest::newRow("former name of the public profile") << u"Ormelan Zevti"_s;
    QTest::newRow("own profile") << u"Benim"_s;
}

void TestProfileSeeding::keepsWhatThePlayerStoredUnderTheOtherNames()
{
    QFETCH(QString, name);
    store->setValue(u"profiles/"_s + name, kOwn);
    seeded();
    QCOMPARE(saved(name), kOwn);
}

void TestProfileSeeding::ordersNames_data()
{
    QTest::addColumn<QStringList>("before");
    QTest::addColumn<QStringList>("after");
    QTest::newRow("both there, in the player's order")
        << QStringList({u"Localhost"_s, u"Benim"_s, u"Tarvun: Selvira"_s})
        << QStringList({u"Localhost"_s, u"Benim"_s, u"Tarvun: Selvira"_s});
    QTest::newRow("former name twice") << QStringList({u"Ormelan Zevti"_s, u"Benim"_s, u"Ormelan Zevti"_s})
                                       << QStringList({u"Tarvun: Selvira"_s, u"Benim"_s, u"Localhost"_s});
    QTest::newRow("former name in another case is the player's own")
        << QStringList({u"ormelan zevti"_s}) << QStringList({u"Tarvun: Selvira"_s, u"ormelan zevti"_s, u"Localhost"_s});
    QTest::newRow("one name") << QStringList({u"Localhost"_s}) << QStringList({u"Tarvun: Selvira"_s, u"Localhost"_s});
}

void TestProfileSeeding::ordersNames()
{
    QFETCH(QStringList, before);
    store->setValue(u"profileNames"_s, before);
    QTEST(seeded().names, "after");
}

void TestProfileSeeding::selectsTheLastProfile_data()
{
    QTest::addColumn<QString>("last");
    QTest::addColumn<QString>("selected");
    QTest::newRow("own") << u"Benim"_s << u"Benim"_s;
    QTest::newRow("local server") << u"Localhost"_s << u"Localhost"_s;
    QTest::newRow("unknown") << u"Silinmiş"_s << u"Tarvun: Selvira"_s;
    QTest::newRow("another case") << u"benim"_s << u"Tarvun: Selvira"_s;
    QTest::newRow("empty") << u""_s << u"Tarvun: Selvira"_s;
}

void TestProfileSeeding::selectsTheLastProfile()
{
    QFETCH(QString, last);
    store->setValue(u"profileNames"_s, QStringList({u"Benim"_s}));
    store->setValue(u"lastProfile"_s, last);
    QTEST(seeded().selected, "selected");
}

void TestProfileSeeding::doesNotWriteTheLastProfile()
{
    seeded();
    QVERIFY(!store->contains(u"lastProfile"_s));
}

void TestProfileSeeding::seedsTheSameTwice()
{
    const SeededProfiles first = seeded();
    const SeededProfiles second = seeded();
    QCOMPARE(second.names, first.names);
    QCOMPARE(second.selected, first.selected);
}

void TestProfileSeeding::readsAListOfOneNameAndBytesThatAreNoUtf8()
{
    const QString path =
        tree->write(u"hand.conf"_s, "[General]\nprofileNames=B\xff\nlastProfile=\xfe\n[profiles]\nLocalhost=\xfd\n");
    QSettings hand(path, QSettings::IniFormat);
    const SeededProfiles profiles = seedProfiles(hand, u"/opt/vok/bin"_s);
    QCOMPARE(profiles.names.size(), 3);
    QCOMPARE(profiles.names.first(), u"Tarvun: Selvira"_s);
    QCOMPARE(profiles.names.last(), u"Localhost"_s);
    QCOMPARE(profiles.selected, u"Tarvun: Selvira"_s);
}

QTEST_APPLESS_MAIN(TestProfileSeeding)
#include "test_profile_seeding.moc"
