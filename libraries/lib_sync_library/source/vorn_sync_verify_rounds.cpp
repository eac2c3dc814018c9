#include "vorn_sync_verify_rounds.h"

VornSyncVerifyRounds::Ended VornSyncVerifyRounds::begin(int directoryId, int files, qint64 nowSecs)
{
    Round round;
    round.note.directoryId = directoryId;
    round.note.beganAtSecs = nowSecs;
    round.filesLeft = files;
    if (files == 0)
        return round.note;
    m_rounds.insert(directoryId, round);
    return std::nullopt;
}

VornSyncVerifyRounds::Ended VornSyncVerifyRounds::end(int directoryId, const QString& fileName,
                                                      bool isAnswered)
{
    const auto found = m_rounds.find(directoryId);
    if (found == m_rounds.end())
        return std::nullopt;
    VornSyncRoundNote& note = found->note;
    if (!isAnswered && ++note.unansweredFiles == 1)
        note.unansweredName = fileName;
    if (--found->filesLeft > 0)
        return std::nullopt;
    return m_rounds.take(directoryId).note;
}

void VornSyncVerifyRounds::clear(int directoryId)
{
    if (directoryId < 0)
        m_rounds.clear();
    else
        m_rounds.remove(directoryId);
}
