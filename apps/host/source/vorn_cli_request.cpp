#include "vorn_cli_request.h"

#include "vorn_cli_command_connection.h"
#include "vorn_cli_protocol.h"

#include <QJsonArray>

using namespace VornCliProtocol;

VornCliRequest::VornCliRequest(VornCliCommandConnection* connection, const QJsonObject& request)
    : m_connection(connection)
    , m_command(request.value(kCommandKey).toString())
    , m_arguments(request.value(kArgumentsKey).toObject())
{
}

QString VornCliRequest::command() const
{
    return m_command;
}

QString VornCliRequest::alias() const
{
    return m_arguments.value(kAliasKey).toString();
}

QString VornCliRequest::name() const
{
    return m_arguments.value(kNameKey).toString();
}

QString VornCliRequest::newName() const
{
    return m_arguments.value(kNewNameKey).toString();
}

QString VornCliRequest::path() const
{
    return m_arguments.value(kPathKey).toString();
}

void VornCliRequest::done(const QString& what, const QStringList& details) const
{
    answer({{kOkKey, true}, {kDoneKey, what}, {kDetailsKey, QJsonArray::fromStringList(details)}});
}

void VornCliRequest::doneMany(const QString& what, int count) const
{
    answer({{kOkKey, true}, {kDoneKey, what}, {kCountKey, count}});
}

void VornCliRequest::give(QJsonObject object) const
{
    object.insert(kOkKey, true);
    answer(object);
}

void VornCliRequest::refuse(const QString& why, const QStringList& details, const QStringList& texts) const
{
    answer({{kOkKey, false},
            {kRefusedKey, why},
            {kDetailsKey, QJsonArray::fromStringList(details)},
            {kTextsKey, QJsonArray::fromStringList(texts)}});
}

void VornCliRequest::answer(const QJsonObject& object) const
{
    if (m_connection)
        m_connection->answer(object);
}
