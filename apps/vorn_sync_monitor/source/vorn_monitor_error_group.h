#pragma once

#include "vorn_cli_error_guide.h"
#include "vorn_cli_types.h"

#include <QAbstractListModel>
#include <QVariantList>

// The files in error about which the user may do the same. Lives on the window's thread.
class VornMonitorErrorGroup : public QAbstractListModel
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VornMonitorErrorGroup)
    Q_PROPERTY(QString key READ key CONSTANT)
    Q_PROPERTY(QString title READ title CONSTANT)
    Q_PROPERTY(QString explanation READ explanation CONSTANT)
    // Each a map: "answer" (a VornCliAnswer), "key", "label", "labelForAll".
    Q_PROPERTY(QVariantList answers READ answers CONSTANT)
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum class Kind { Restore, Compare, Acknowledge, Retry };
    enum Role {
        AliasRole = Qt::UserRole + 1,
        FileNameRole,
        ErrorCodeRole,
        StatusRole,
        ShownAliasRole,
        ShownNameRole,
        SentenceRole,
        HintRole
    };

    explicit VornMonitorErrorGroup(Kind kind, QObject* parent = nullptr);

    static QVector<Kind> kinds(); // what can cost something comes first
    static Kind kindOf(const VornCliFileError& error);

    static bool isListedBefore(const VornCliFileError& left, const VornCliFileError& right); // by the manager
    static bool isSameError(const VornCliFileError& left, const VornCliFileError& right);    // of one file

    QString key() const;
    QString title() const;
    QString explanation() const;
    QVariantList answers() const;
    // What is asked before `answer` is given for `count` files.
    Q_INVOKABLE QString question(int answer, int count) const;

    const QVector<VornCliFileError>& files() const { return m_files; }
    void setFiles(const QVector<VornCliFileError>& files); // sorted as the manager sorts them
    int count() const { return static_cast<int>(m_files.size()); }

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

signals:
    void countChanged();

private:
    bool applyChanges(const QVector<VornCliFileError>& files);

    Kind m_kind;
    QVector<VornCliFileError> m_files;
};
