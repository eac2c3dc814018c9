#pragma once

#include <QStringList>

#include <vector>

namespace VornSyncTest {

// What kind of world a run takes place in. Probabilities are out of 1,000 a call or a step.
struct SimProfile
{
    const char* name = "";
    QStringList fileNames;
    QStringList exclusionPatterns;
    int syncIntervalSecs = 30;
    int durationSecs = 1800;  // of the safety phase, all incarnations together
    int hostPauseSecs = 20;   // longest pause between two actions of the host ...
    int userPauseSecs = 20;   // ... of a user who edits without telling the host (0: there is none)
    int otherPauseSecs = 0;   // ... of another workstation on the share
    int weatherPauseSecs = 0; // ... of what happens to the share
    int faultPermille = 0;    // a call on a pair's directory that fails for no reason
    int databaseFaultPermille = 0;
    int lyingPermille = 0; // a file that loses its end on its way to the share
    int crashes = 0;       // at most
    int clockJumps = 0;    // at most
    int yieldPermille = 150;
    bool hasEmptyShares = false;
    bool hasResets = false;
    bool hasSideCars = false;
    bool hasErrorDesk = false; // the user answers errors while things go wrong, in every way there is
};

const std::vector<SimProfile>& simProfiles();
const SimProfile* findSimProfile(const char* name);

} // namespace VornSyncTest
