# shellcheck shell=bash
# Sourced by the other scripts: the Debian packages that each job needs, how they are installed, and how they
# say what they do.

packages_tools="g++ cmake ninja-build ccache"
packages_qt5="qtbase5-dev libqt5sql5-sqlite qttools5-dev qttools5-dev-tools"
# Instead of those of Qt 5 where VORN_SYNC_QT_MAJOR is 6.
# shellcheck disable=SC2034 # used by the scripts that source this file
packages_qt6="qt6-base-dev libqt6sql6-sqlite qt6-tools-dev qt6-l10n-tools"
# What building and running the library and its command-line host takes.
# shellcheck disable=SC2034
packages_build="$packages_tools $packages_qt5"
# What the window takes besides, with Qt 5 and with Qt 6.
packages_window="qtdeclarative5-dev qtquickcontrols2-5-dev qml-module-qtquick2 qml-module-qtquick-controls2
    qml-module-qtquick-layouts qml-module-qtquick-templates2 qml-module-qtquick-window2 qttranslations5-l10n"
# shellcheck disable=SC2034
packages_window_qt6="qt6-declarative-dev qml6-module-qtquick qml6-module-qtquick-controls qml6-module-qtquick-layouts
    qml6-module-qtquick-templates qml6-module-qtquick-window qml6-module-qtqml qml6-module-qtqml-models
    qml6-module-qtqml-workerscript qt6-translations-l10n"
# What the tests use besides, those of the window among them.
# shellcheck disable=SC2034
packages_test="$packages_window binutils pkg-config sqlite3 util-linux mount procps samba smbclient smbnetfs bindfs
    e2fsprogs xfsprogs xvfb xauth trayer fonts-dejavu-core"
# What the continuous integration uses besides; the second line is for the instrumented Qt.
# shellcheck disable=SC2034
packages_ci="clang clang-format clang-tidy clang-tools clazy shellcheck file
    dpkg-dev make perl python3 libsqlite3-dev ca-certificates"
# What makes and tries the Debian packages.
# shellcheck disable=SC2034
packages_package="dpkg-dev gzip lintian abigail-tools pkg-config util-linux mount"
# What the reference and the tests of the documents, the manual page and the completions take.
# shellcheck disable=SC2034
packages_documents="doxygen doxygen-awesome-css python3 man-db bash-completion zsh fish systemd qtdeclarative5-dev"
# shellcheck disable=SC2034
packages_screenshots="$packages_window xvfb xauth xdotool imagemagick optipng sqlite3 fonts-dejavu-core"
# shellcheck disable=SC2034
packages_coverage="gcovr"
# shellcheck disable=SC2034
packages_benchmark="libbenchmark-dev valgrind sqlite3"
# What the scripts of benchmarks/compare run.
# shellcheck disable=SC2034
packages_peers="python3 rsync rclone lsyncd unison syncthing bindfs gnuplot-nox"

# Most tests wait for timers most of the time: more of them than cores may run at once.
# shellcheck disable=SC2034
test_jobs=$((4 * $(nproc)))

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo "$@"
    else
        printf 'This needs root: %s\n' "$*" >&2
        return 1
    fi
}

is_installed() { [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]; }

# install_missing PACKAGE...: leaves apt alone when nothing is missing.
install_missing() {
    local package
    local -a missing=()
    for package in "$@"; do
        is_installed "$package" || missing+=("$package")
    done
    if [ "${#missing[@]}" -eq 0 ]; then
        say "all packages are installed"
        return
    fi
    if ! command -v apt-get >/dev/null; then
        say "apt-get is missing: this needs a Debian system with ${missing[*]}"
        return 1
    fi
    say "installing ${missing[*]}"
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -o DPkg::Lock::Timeout=300 update
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -y -o DPkg::Lock::Timeout=300 \
        -o Dpkg::Use-Pty=0 install --no-install-recommends "${missing[@]}" >/dev/null
    case " ${missing[*]} " in *" samba "*) leave_samba_off ;; esac
}

# The package starts its server and does so at every boot; the tests start one of their own.
leave_samba_off() {
    if [ -d /run/systemd/system ]; then
        as_root systemctl --quiet disable --now smbd nmbd samba-ad-dc || say "samba's own server keeps running"
    fi
}

# One line for each thing done, after the name of the script that does it; standard output is the job's own.
say() { printf '%s: %s\n' "$(basename "$0")" "$*" >&2; }
