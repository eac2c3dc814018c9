#include "vorn_cli_exclusions.h"

#include <algorithm>

namespace {

// QFile::copy writes to "qt_temp." and six characters first; that is never somebody's document.
bool isQtTemporaryName(const QString& name)
{
    constexpr int kSuffixLength = 6;
    const QLatin1String prefix("qt_temp.");
    return name.startsWith(prefix) && name.size() == prefix.size() + kSuffixLength;
}

} // namespace

VornCliExclusions::VornCliExclusions(const QStringList& patterns)
{
    for (const QString& pattern : patterns) {
        if (pattern.isEmpty())
            continue;
        const QRegularExpression expression(QRegularExpression::wildcardToRegularExpression(pattern),
                                            QRegularExpression::CaseInsensitiveOption);
        if (expression.isValid()) // the manager warns of the others and drops them as well
            m_patterns.append(expression);
    }
}

bool VornCliExclusions::matches(const QString& name) const
{
    return std::any_of(m_patterns.cbegin(), m_patterns.cend(),
                       [&name](const QRegularExpression& pattern) { return pattern.match(name).hasMatch(); });
}

bool VornCliExclusions::isMirrored(const QString& name) const
{
    return !name.isEmpty() && !name.startsWith(QLatin1Char('.')) && !isQtTemporaryName(name) &&
           !matches(name);
}
