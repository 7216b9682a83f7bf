#pragma once

#include <QIODevice>

namespace test {

/// A disk with so much room and no more.
class LimitedDevice : public QIODevice {
public:
    explicit LimitedDevice(qint64 room) : m_room(room) { open(QIODevice::WriteOnly | QIODevice::Unbuffered); }

protected:
    qint64 readData(char*, qint64) override { return -1; }
    qint64 writeData(const char*, qint64 size) override {
        if (size > m_room) {
            setErrorString("the disk is full");
            return -1;
        }
        m_room -= size;
        return size;
    }

private:
    qint64 m_room;
};

} // namespace test
