#include "Layers/EditSession.h"

#include "TestSeed.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <random>

namespace {

TEST(EditSession, IsWhatAPlainListSays) {
    const QTemporaryDir folder;
    for (unsigned int round = 0; round < 12; ++round) {
        std::mt19937 random(test::seed() + round);
        std::vector<unsigned char> bytes(160);
        std::generate(bytes.begin(), bytes.end(), [&random] { return static_cast<unsigned char>(random()); });
        EXPECT_EQ(test::EditSession(folder.path(), round % 2 == 0).run(bytes.data(), bytes.size()), "")
            << "seed " << test::seed() + round;
    }
}

} // namespace
