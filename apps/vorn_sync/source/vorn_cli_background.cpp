#include "vorn_cli_background.h"

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
}
