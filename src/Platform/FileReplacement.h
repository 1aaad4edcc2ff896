#pragma once

#include "Platform/Expected.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <functional>
#include <optional>

// Writing the files that hold what the user saved: folders made with a reason when they cannot
// be, atomic replacement, and copies of old bytes kept beside the file before it is replaced.
namespace mosaro::FileReplacement {

// Why a file operation failed, e.g. "could not create folder" "/a/b" "Not a directory". Only the
// path can hold personal data (a user name); the action and the reason never do.
struct FileError {
    QString action; // what was being done, e.g. "could not write"
    QString path;   // the file or folder it was done to
    QString reason; // the system's words for the cause (errno text)
    // The whole failure in one line: "<action> <path>: <reason>".
    QString description() const;
    friend bool operator==(const FileError&, const FileError&) = default;
};

// Creates the folder with any missing parents. Fails naming the first one that could not be
// made and the system's reason, as mkdir -p does.
Status<FileError> makeFolders(const QString& folder);

// The file's bytes; nothing when there is no file at the path.
Expected<std::optional<QByteArray>, FileError> readIfPresent(const QString& path);

// "<file name>.bak-<UTC time as yyyyMMddTHHmmssZ>", the name a copy taken at `time` starts from.
QString copyName(const QString& path, const QDateTime& time);

// Writes the bytes to a new file beside `path` named by copyName(), or, when that name is taken,
// by the same name with "-2", "-3" and so on appended. An existing file is never replaced or
// removed. The copy is on disk before this returns. Gives the copy's path.
Expected<QString, FileError> keepCopy(const QString& path, const QByteArray& bytes, const QDateTime& time);

// Replaces the file with the bytes atomically: they go to a temporary file beside it, then
// `beforeReplace` runs, then the temporary takes the file's place. When the temporary cannot be
// written the file is left as it was and `beforeReplace` does not run.
Status<FileError> replaceAtomically(const QString& path, const QByteArray& bytes,
                                    const std::function<void()>& beforeReplace = {});

} // namespace mosaro::FileReplacement
