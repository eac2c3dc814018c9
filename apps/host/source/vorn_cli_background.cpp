#include "vorn_cli_background.h"

#include <QDeadlineTimer>

namespace {

constexpr int kFarewellMs = 500; // what does not hang has ended long before

} // namespace

VornCliBackground::VornCliBackground(QObject* parent)
    : QObject(parent)
    , m_link(std::make_shared<Link>())
{
    m_link->target = this;
}

VornCliBackground::~VornCliBackground()
{
    const QMutexLocker locker(&m_link->mutex);
    m_link->target = nullptr;
    const QDeadlineTimer deadline(kFarewellMs);
    while (m_link->running > 0 && m_link->ended.wait(&m_link->mutex, deadline)) {
    }
}
