#pragma once

#include "Diagnostics/Log/Log.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace mosaro::test {

// The preferences folder in a fresh temporary directory, the file in it written and read as
// bytes, and an empty log.
class PreferencesFolderTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dir.isValid());
        QDir().mkpath(dir.filePath(QStringLiteral("Mosaro")));
        Log::Store::shared().clear();
    }

    void write(const QByteArray& bytes, const QString& where = {})
    {
        QFile file(where.isEmpty() ? path : where);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }
    QByteArray read(const QString& where = {}) const
    {
        QFile file(where.isEmpty() ? path : where);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
    }

    QTemporaryDir dir;
    QString path = dir.filePath(QStringLiteral("Mosaro/preferences.json"));
};

} // namespace mosaro::test
