#include "vorn_cli_availability_poller.h"

#include <QFileInfo>

namespace {

constexpr int kPollPeriodMs = 2000; // a share that comes back is used soon, one that is away costs little

struct Answer
{
    QString alias;
    bool localThere = false;
    bool distantThere = false;
};

bool isDirectory(const QString& path)
{
    return QFileInfo(path).isDir();
}

} // namespace

VornCliAvailabilityPoller::VornCliAvailabilityPoller(QObject* parent)
    : QObject(parent)
{
    m_timer.setInterval(kPollPeriodMs);
    m_timer.setSingleShot(true); // armed again by the answer: a look that hangs is not followed by others
    connect(&m_timer, &QTimer::timeout, this, &VornCliAvailabilityPoller::look);
}

void VornCliAvailabilityPoller::start(const QVector<VornCliPair>& pairs)
{
    m_pairs = pairs;
    m_timer.start();
}

void VornCliAvailabilityPoller::look()
{
    const auto ask = [pairs = m_pairs] {
        QVector<Answer> answers;
        for (const VornCliPair& pair : pairs)
            answers.append({pair.alias, isDirectory(pair.local), isDirectory(pair.distant)});
        return answers;
    };
    m_background.run(ask, [this](const QVector<Answer>& answers) {
        for (const Answer& answer : answers)
            emit looked(answer.alias, answer.localThere, answer.distantThere);
        m_timer.start();
    });
}
