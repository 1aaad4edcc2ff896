#include "Platform/FileReplacement.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace mosaro::FileReplacement {

namespace {

QString errnoText(int error)
{
    return QString::fromStdString(std::error_code(error, std::generic_category()).message());
}

// How many "-N" names are tried after the plain one before giving up.
constexpr int maxCopySuffix = 1000;

// 0, or the errno of the write that failed.
int writeAll(int fd, const QByteArray& bytes)
{
    qsizetype written = 0;
    while (written < bytes.size()) {
        const ssize_t chunk = ::write(fd, bytes.constData() + written, std::size_t(bytes.size() - written));
        if (chunk < 0 && errno == EINTR)
            continue;
        if (chunk <= 0)
            return chunk < 0 ? errno : EIO;
        written += chunk;
    }
    return 0;
}

// Writes the bytes, puts them on disk and closes the file, whatever failed; 0 or the first errno.
int writeSyncAndClose(int fd, const QByteArray& bytes)
{
    int error = writeAll(fd, bytes);
    if (error == 0 && ::fsync(fd) != 0)
        error = errno;
    if (::close(fd) != 0 && error == 0)
        error = errno;
    return error;
}

} // namespace

QString FileError::description() const
{
    return action + u' ' + path + QStringLiteral(": ") + reason;
}

Status<FileError> makeFolders(const QString& folder)
{
    const QString absolute = QDir::cleanPath(QFileInfo(folder).absoluteFilePath());
    QString current;
    for (const QString& part : absolute.split(u'/', Qt::SkipEmptyParts)) {
        current += u'/' + part;
        const QByteArray native = QFile::encodeName(current);
        struct stat info {};
        if (::stat(native.constData(), &info) == 0 && S_ISDIR(info.st_mode))
            continue;
        if (::mkdir(native.constData(), 0777) == 0)
            continue;
        const int error = errno;
        if (error == EEXIST && ::stat(native.constData(), &info) == 0 && S_ISDIR(info.st_mode))
            continue; // made by someone else meanwhile
        // As mkdir -p says it: the first folder that could not be made, and why.
        return unexpected(FileError{QStringLiteral("could not create folder"), current, errnoText(error)});
    }
    return Ok{};
}

Expected<std::optional<QByteArray>, FileError> readIfPresent(const QString& path)
{
    using Result = Expected<std::optional<QByteArray>, FileError>;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (!QFileInfo::exists(path) && !QFileInfo(path).isSymLink())
            return Result(std::nullopt);
        return unexpected(FileError{QStringLiteral("could not read"), path, file.errorString()});
    }
    QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return unexpected(FileError{QStringLiteral("could not read"), path, file.errorString()});
    return Result(std::move(bytes));
}

QString copyName(const QString& path, const QDateTime& time)
{
    return QFileInfo(path).fileName() + QStringLiteral(".bak-") +
           time.toUTC().toString(QStringLiteral("yyyyMMdd'T'HHmmss'Z'"));
}

Expected<QString, FileError> keepCopy(const QString& path, const QByteArray& bytes, const QDateTime& time)
{
    const QString base = QFileInfo(path).absoluteDir().filePath(copyName(path, time));
    for (int n = 1; n <= maxCopySuffix; ++n) {
        const QString candidate = n == 1 ? base : base + u'-' + QString::number(n);
        // O_EXCL: an earlier copy under this name stays exactly as it is.
        const QByteArray native = QFile::encodeName(candidate);
        const int fd = ::open(native.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd < 0) {
            if (errno == EEXIST)
                continue;
            return unexpected(FileError{QStringLiteral("could not create the copy"), candidate, errnoText(errno)});
        }
        // On disk before the original is replaced, so that a crash cannot lose both.
        if (const int error = writeSyncAndClose(fd, bytes); error != 0) {
            ::unlink(native.constData());
            return unexpected(FileError{QStringLiteral("could not write the copy"), candidate, errnoText(error)});
        }
        return candidate;
    }
    return unexpected(
        FileError{QStringLiteral("could not create the copy"), base, QStringLiteral("every name for it is taken")});
}

Status<FileError> replaceAtomically(const QString& path, const QByteArray& bytes,
                                    const std::function<void()>& beforeReplace)
{
    const QByteArray target = QFile::encodeName(path);
    // A new name beside the file, so that the rename stays within one file system.
    QByteArray temporary;
    int fd = -1;
    for (int attempt = 0; attempt < 100 && fd < 0; ++attempt) {
        temporary =
            target + '.' +
            QByteArray::number(QRandomGenerator::global()->bounded(0x7fffffff), 36).rightJustified(6, '0').right(6);
        fd = ::open(temporary.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd < 0 && errno != EEXIST)
            break;
    }
    if (fd < 0)
        return unexpected(FileError{QStringLiteral("could not write"), path, errnoText(errno)});

    // The replacement keeps the permissions the file had.
    struct stat info {};
    if (::stat(target.constData(), &info) == 0)
        (void)::fchmod(fd, info.st_mode & 07777);
    if (const int error = writeSyncAndClose(fd, bytes); error != 0) {
        ::unlink(temporary.constData());
        return unexpected(FileError{QStringLiteral("could not write"), path, errnoText(error)});
    }
    if (beforeReplace)
        beforeReplace();
    if (::rename(temporary.constData(), target.constData()) != 0) {
        const int error = errno;
        ::unlink(temporary.constData());
        return unexpected(FileError{QStringLiteral("could not write"), path, errnoText(error)});
    }
    return Ok{};
}

} // namespace mosaro::FileReplacement
