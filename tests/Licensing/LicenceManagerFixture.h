#pragma once

#include "TestLicences.h"

#include <Cartolith/Core/Licensing/LicenceCache.h>
#include <Cartolith/Core/Licensing/LicenceManager.h>

#include <QFile>
#include <QHash>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

/// A place for a manager to look at that nobody else sees: folders, an environment, a clock.
class LicenceManagerFixture : public testing::Test {
protected:
    LicenceManagerFixture() {
        m_settings.keys = TestLicences::keys();
        m_settings.cacheFolder = m_folder.filePath("cache/cartolith");
        m_settings.systemFile = m_folder.filePath("system.json");
        m_settings.environment = [this](const char* name) { return m_environment.value(name); };
        m_settings.clock = [this] { return m_now; };
        m_settings.machineId = [this] {
            ++m_machineAsked;
            return QByteArray(32, 'm');
        };
    }

    static QByteArray licenceOf(const char* id, qint64 serial = 5, const QByteArray& machine = {}) {
        Cartolith::Core::Licensing::Licence licence = TestLicences::licence();
        licence.id = id;
        licence.serial = serial;
        licence.machine = machine;
        return TestLicences::signedText(licence);
    }
    /// The path of a file with this text.
    QString file(const char* name, const QByteArray& text) const {
        QFile file(m_folder.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
        return file.fileName();
    }
    static std::string errorOf(const std::function<void()>& work) {
        try {
            work();
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return {};
    }

    QTemporaryDir m_folder;
    QHash<QByteArray, QByteArray> m_environment;
    qint64 m_now = 1'772'323'200; // 2026-03-01
    int m_machineAsked = 0;
    Cartolith::Core::Licensing::LicenceSettings m_settings;
};
