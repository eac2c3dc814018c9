#include "vorn_cli_locale.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QTranslator>

#include <clocale>
#include <cstring>
#include <langinfo.h>
#include <memory>

// Of a static library; the macro can't stand in a namespace.
static void initCatalogues()
{
    Q_INIT_RESOURCE(vorn_sync_translations);
}

namespace {

constexpr char kUtf8Locale[] = "C.UTF-8";

QByteArray messageLocale()
{
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const QByteArray value = qgetenv(variable);
        if (!value.isEmpty())
            return value;
    }
    return QByteArray();
}

// Read before LC_ALL is set, which would hide what the user has chosen.
QByteArray& chosenLocale()
{
    static QByteArray value = messageLocale();
    return value;
}

// Qt 6 has another name for it; the int prefers that where it is there.
template<typename Info>
auto translationsPath(int /*preferred*/) -> decltype(Info::path(Info::TranslationsPath))
{
    return Info::path(Info::TranslationsPath);
}

template<typename Info> QString translationsPath(long /*otherwise*/)
{
    return Info::location(Info::TranslationsPath);
}

bool install(const QString& file, const QString& directory)
{
    auto catalogue = std::make_unique<QTranslator>();
    if (!catalogue->load(file, directory))
        return false;
    catalogue->setParent(QCoreApplication::instance());
    return QCoreApplication::installTranslator(catalogue.release());
}

} // namespace

namespace VornCliLocale {

void ensureNamesWork()
{
    chosenLocale();
    // NOLINTBEGIN(concurrency-mt-unsafe): there is no other thread yet
    std::setlocale(LC_ALL, "");
    if (std::strcmp(::nl_langinfo(CODESET), "ANSI_X3.4-1968") != 0)
        return;
    if (std::setlocale(LC_ALL, kUtf8Locale) != nullptr)
        qputenv("LC_ALL", kUtf8Locale);
    // NOLINTEND(concurrency-mt-unsafe)
}

QStringList languages()
{
    return {QStringLiteral("en"), QStringLiteral("fr")};
}

QString environmentLanguage()
{
    const QString language = QString::fromLatin1(chosenLocale().left(2)).toLower();
    return languages().contains(language) ? language : languages().constFirst();
}

bool installCatalogue(const QString& program, const QString& language)
{
    initCatalogues();
    return install(QStringLiteral("%1_%2.qm").arg(program, language), QStringLiteral(":/translations"));
}

bool installQtCatalogue(const QString& language)
{
    return install(QStringLiteral("qtbase_%1.qm").arg(language), translationsPath<QLibraryInfo>(0));
}

} // namespace VornCliLocale
