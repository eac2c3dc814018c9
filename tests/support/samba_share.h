#pragma once

#include "child_process.h"

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace VornSyncTest {

// A share of a real Samba server on loopback, mounted through FUSE by smbnetfs, whose client is Samba's own. The
// server has a configuration, a port and directories of its own; the system's are neither read nor written.
//
// What it does as a network share does, and a local directory does not:
// - a rename over an existing file is a removal and a rename: there is a moment without the name, and without the
//   server both may fail half-way;
// - names that SMB forbids (" * : < > | \, control characters) are refused with EIO;
// - a name with "%" or "@" is written as it is, but listed in another spelling ("%25", "%40"), one with "%" and
//   two hexadecimal digits or with "?" is even written under another name;
// - times set by a program are kept to the second;
// - there are no links, no statfs (all zeros), and owner and permissions are the server's;
// - without the server every call fails with EIO, within milliseconds when it was killed, after 80 s when it hangs.
// Nothing is cached by the client: what the server's directory holds is seen at once.
//
// The process names of the pieces: smbd, smbnetfs; Debian's packages: samba, smbnetfs.
class SambaShare
{
    Q_DISABLE_COPY_MOVE(SambaShare)

public:
    // Settings of the share, as in smb.conf, which come after its own: "case sensitive = yes".
    explicit SambaShare(const QStringList& settings = QStringList());
    ~SambaShare();

    // Server and mount. False: reason() says which piece is missing; a test skips with it.
    [[nodiscard]] bool start();
    QString reason() const { return m_reason; }

    // The directory that the server shares, and the same directory as the client sees it.
    QString serverPath() const { return m_root.filePath(QStringLiteral("server")); }
    QString mountedPath() const;
    // For other clients: the share is "share", and anybody is let in.
    int port() const { return m_port; }
    QString serverConfiguration() const { return m_root.filePath(QStringLiteral("smb.conf")); }

    // Without a goodbye to its clients. The mount stays.
    void killServer();
    // The same server on the same port again. The client connects by itself with its next call.
    [[nodiscard]] bool resumeServer();
    // It neither answers nor goes: a call of the client waits. Nothing that must not wait may look at the mount.
    [[nodiscard]] bool freezeServer();
    void thawServer();
    // mountedPath() is not there afterwards.
    void unmount();
    [[nodiscard]] bool mount();

private:
    QString missingPiece() const;
    bool writeConfiguration();
    bool startServer();
    bool isServing() const;
    QString mountPoint() const { return m_root.filePath(QStringLiteral("mount")); }

    QTemporaryDir m_root;
    QStringList m_settings;
    QString m_reason;
    ChildProcess m_server;
    ChildProcess m_client;
    int m_port = 0;
};

} // namespace VornSyncTest
