#include <Cartolith/Core/Layers/Requests/ServerLimitsInternal.h>

#include <algorithm>

namespace Cartolith::Core::Layers::Internal {

QString withServerLimits(const QString& source, const GisFeatureRequest::ServerLimits& limits) {
    const auto startsWith = [&](const char* text) {
        return source.startsWith(QLatin1String(text), Qt::CaseInsensitive);
    };
    const bool isAddress = startsWith("postgresql://") || startsWith("postgres://");
    if (!isAddress && !startsWith("PG:")) {
        return source;
    }
    QString text = source;
    const auto add = [&](const char* name, const QString& value) {
        if (source.contains(QLatin1String(name), Qt::CaseInsensitive)) {
            return;
        }
        const QString setting = QLatin1String(name) + QLatin1Char('=');
        text += isAddress ? QLatin1Char(text.contains(QLatin1Char('?')) ? '&' : '?') + setting + value
                          : QLatin1Char(' ') + setting + QLatin1Char('\'') + value + QLatin1Char('\'');
    };
    if (limits.connect.count() > 0) {
        const auto seconds = std::chrono::ceil<std::chrono::seconds>(limits.connect).count();
        add("connect_timeout", QString::number(std::max<qint64>(2, seconds)));
    }
    if (limits.silence.count() > 0) {
        add("tcp_user_timeout", QString::number(limits.silence.count()));
    }
    if (limits.statement.count() > 0) {
        const QLatin1String option(isAddress ? "-c%20statement_timeout%3D" : "-c statement_timeout=");
        add("options", option + QString::number(limits.statement.count()));
    }
    return text;
}

} // namespace Cartolith::Core::Layers::Internal
