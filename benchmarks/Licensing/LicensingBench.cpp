// What licences cost: one evaluation of a text from its bytes to the verdict, beside the check of its
// signature by OpenSSL alone, and one question whether a feature is permitted.

#include "Licensing/TestLicences.h"

#include <Cartolith/Core/Licensing/LicenceDecision.h>
#include <Cartolith/Core/Licensing/LicenceEnvelope.h>
#include <Cartolith/Core/Licensing/LicenceManager.h>

#include <benchmark/benchmark.h>

using namespace Cartolith::Core::Licensing;

namespace {

constexpr qint64 now = 1'772'323'200;

void decide(benchmark::State& state) {
    LicenceCircumstances circumstances;
    circumstances.keys = TestLicences::keys();
    circumstances.now = now;
    const QByteArray text = TestLicences::signedText(TestLicences::licence());
    for (auto _ : state) {
        benchmark::DoNotOptimize(LicenceDecision::decide(text, circumstances));
    }
}
BENCHMARK(decide);

void signatureAlone(benchmark::State& state) {
    const LicenceEnvelope envelope =
        LicenceEnvelope::fromJson(TestLicences::signedText(TestLicences::licence()));
    const QByteArray key = TestLicences::signer().publicKey();
    for (auto _ : state) {
        benchmark::DoNotOptimize(envelope.isSignedBy(key));
    }
}
BENCHMARK(signatureAlone);

void isPermitted(benchmark::State& state) {
    LicenceSettings settings;
    settings.keys = TestLicences::keys();
    settings.cacheFolder = QStringLiteral("/nowhere");
    settings.environment = [](const char*) { return QByteArray(); };
    LicenceManager manager(settings);
    manager.use(TestLicences::signedText(TestLicences::licence()));
    const QString feature = QStringLiteral("raster.ECW");
    for (auto _ : state) {
        benchmark::DoNotOptimize(manager.isPermitted(feature));
    }
}
BENCHMARK(isPermitted);

} // namespace

BENCHMARK_MAIN();
