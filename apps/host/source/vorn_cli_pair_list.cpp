#include "vorn_cli_pair_list.h"

#include "vorn_cli_text.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include <algorithm>

namespace {

constexpr int kFormat = 1;

const QLatin1String kFormatKey("format");
const QLatin1String kPairsKey("pairs");
const QLatin1String kAliasKey("alias");
const QLatin1String kLocalKey("local");
const QLatin1String kDistantKey("distant");

template<typename Predicate>
const VornCliPair* findPair(const QVector<VornCliPair>& pairs, Predicate predicate)
{
    const auto found = std::find_if(pairs.cbegin(), pairs.cend(), predicate);
    return found == pairs.cend() ? nullptr : &*found;
}

} // namespace

VornCliPairList::VornCliPairList(const QString& path)
    : m_path(path)
{
}

bool VornCliPairList::load()
{
    m_pairs.clear();
    QFile file(m_path);
    if (!file.exists())
        return true;
    const QString shown = VornCliText::printable(m_path);
    if (!file.open(QIODevice::ReadOnly)) {
        m_error = qtTrId("vorn_sync_pairs_unreadable").arg(shown);
        return false;
    }
    const QJsonObject root = QJsonDocument::fromJson(file.readAll()).object();
    if (root.value(kFormatKey).toInt() != kFormat || !root.value(kPairsKey).isArray()) {
        m_error = qtTrId("vorn_sync_pairs_damaged").arg(shown);
        return false;
    }
    const QJsonArray entries = root.value(kPairsKey).toArray();
    for (const QJsonValue& entry : entries) {
        const QJsonObject object = entry.toObject();
        m_pairs.append({object.value(kAliasKey).toString(), object.value(kLocalKey).toString(),
                        object.value(kDistantKey).toString()});
    }
    return true;
}

bool VornCliPairList::save() const
{
    QJsonArray entries;
    for (const VornCliPair& pair : m_pairs) {
        entries.append(
            QJsonObject{{kAliasKey, pair.alias}, {kLocalKey, pair.local}, {kDistantKey, pair.distant}});
    }
    const QJsonObject root{{kFormatKey, kFormat}, {kPairsKey, entries}};
    QSaveFile file(m_path);
    const QByteArray content = QJsonDocument(root).toJson();
    if (file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.commit())
        return true;
    m_error =
        qtTrId("vorn_sync_pairs_not_remembered").arg(VornCliText::printable(m_path), file.errorString());
    return false;
}

const VornCliPair* VornCliPairList::byLocal(const QString& local) const
{
    return findPair(m_pairs, [&local](const VornCliPair& pair) { return pair.local == local; });
}

const VornCliPair* VornCliPairList::byAlias(const QString& alias) const
{
    return findPair(m_pairs, [&alias](const VornCliPair& pair) { return pair.alias == alias; });
}

void VornCliPairList::put(const VornCliPair& pair)
{
    const auto found = std::find_if(m_pairs.begin(), m_pairs.end(),
                                    [&pair](const VornCliPair& known) { return known.alias == pair.alias; });
    if (found == m_pairs.end())
        m_pairs.append(pair);
    else
        *found = pair;
}

void VornCliPairList::remove(const QString& alias)
{
    m_pairs.erase(std::remove_if(m_pairs.begin(), m_pairs.end(),
                                 [&alias](const VornCliPair& pair) { return pair.alias == alias; }),
                  m_pairs.end());
}

QString VornCliPairList::freeAlias(const QString& local, const QStringList& taken)
{
    QString base = QFileInfo(local).fileName();
    if (base.isEmpty())
        base = QStringLiteral("root"); // LOCAL is "/"
    QString alias = base;
    for (int number = 2; taken.contains(alias); ++number)
        alias = base + QLatin1Char('-') + QString::number(number);
    return alias;
}
