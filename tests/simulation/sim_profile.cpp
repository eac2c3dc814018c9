#include "sim_profile.h"

#include <cstring>

namespace VornSyncTest {

namespace {

constexpr int kDaySecs = 86400;

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

SimProfile calm()
{
    SimProfile profile;
    profile.name = "calm";
    profile.fileNames =
        QStringList{text("a.txt"), text("b.doc"), text("c"), text("d.tar.gz"), text("report.doc")};
    profile.otherPauseSecs = 120;
    return profile;
}

SimProfile crashy()
{
    SimProfile profile = calm();
    profile.name = "crashy";
    profile.crashes = 6;
    profile.clockJumps = 2;
    profile.weatherPauseSecs = 300;
    return profile;
}

SimProfile flakyShare()
{
    SimProfile profile = calm();
    profile.name = "flaky";
    profile.weatherPauseSecs = 60;
    profile.faultPermille = 8;
    profile.databaseFaultPermille = 1;
    profile.lyingPermille = 60;
    profile.hasEmptyShares = true;
    profile.crashes = 1;
    return profile;
}

SimProfile hostileNames()
{
    SimProfile profile = calm();
    profile.name = "names";
    profile.fileNames = QStringList{text("%1"),
                                    text("100%2 \xc3\xa4.txt"),
                                    text("a'b\"c;--.doc"),
                                    text("-rf"),
                                    text(" new\nline "),
                                    text("\xe6\xbc\xa2\xe5\xad\x97.x"),
                                    QString(251, QLatin1Char('n')) + text(".txt"),
                                    text("a.%3.%1"),
                                    text("*?[x]"),
                                    text("x...")};
    profile.faultPermille = 2;
    profile.crashes = 1;
    return profile;
}

SimProfile sideCars()
{
    SimProfile profile = calm();
    profile.name = "side-cars";
    profile.fileNames =
        QStringList{text("data.db"), text("Mail.sqlite"), text("plain.txt"), text("other.db")};
    profile.exclusionPatterns = QStringList{text("*-wal"), text("*-journal")};
    profile.hasSideCars = true;
    profile.crashes = 1;
    return profile;
}

SimProfile longHaul()
{
    SimProfile profile = calm();
    profile.name = "long-haul";
    profile.fileNames << text("e.ods") << text("f.mail") << text("g.jpeg") << text("old.txt");
    profile.syncIntervalSecs = 1800;
    profile.durationSecs = 45 * kDaySecs;
    profile.hostPauseSecs = kDaySecs;
    profile.userPauseSecs = 8 * kDaySecs; // what lies in the trash is mostly left there
    profile.otherPauseSecs = 4 * kDaySecs;
    profile.weatherPauseSecs = kDaySecs / 2;
    profile.crashes = 2;
    profile.yieldPermille = 50;
    return profile;
}

SimProfile errorDesk()
{
    SimProfile profile = calm();
    profile.name = "error-desk";
    profile.weatherPauseSecs = 120;
    profile.faultPermille = 4;
    profile.lyingPermille = 60;
    profile.hostPauseSecs = 8;
    profile.hasResets = true;
    profile.hasErrorDesk = true;
    return profile;
}

} // namespace

const std::vector<SimProfile>& simProfiles()
{
    static const std::vector<SimProfile> profiles{calm(),     crashy(),   flakyShare(), hostileNames(),
                                                  sideCars(), longHaul(), errorDesk()};
    return profiles;
}

const SimProfile* findSimProfile(const char* name)
{
    for (const SimProfile& profile : simProfiles()) {
        if (std::strcmp(profile.name, name) == 0)
            return &profile;
    }
    return nullptr;
}

} // namespace VornSyncTest
