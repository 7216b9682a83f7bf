#include <Cartolith/Core/Layers/Ogr/OgrFormatInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresTextInternal.h>

#include <QFileInfo>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QUrl>

#include <algorithm>
#include <stdexcept>

namespace Cartolith::Core::Layers::Internal {

namespace {

constexpr QLatin1String hidden{"***"};

/// password=word, password='text with \' and \\', and, for what is not well formed, all up to the next name=.
const QRegularExpression& assignment() {
    static const QRegularExpression expression(
        QStringLiteral(R"((?i)\b((?:ssl)?password)\s*=\s*('(?:\\.|[^'\\])*'?|.*?)(?=\s+\w+\s*=|\s*$|[?&]))"),
        QRegularExpression::DotMatchesEverythingOption);
    return expression;
}

/// What lies between the user's name and the host of an address: up to the last '@' before the path.
const QRegularExpression& inAddress() {
    static const QRegularExpression expression(
        QStringLiteral(R"((?i)(postgres(?:ql)?://[^:/@?]*:)([^/?]*)(?=@))"));
    return expression;
}

QStringList secretsOf(const QString& path) {
    QStringList secrets;
    for (const auto* const expression : {&assignment(), &inAddress()}) {
        for (auto match = expression->globalMatch(path); match.hasNext();) {
            QString secret = match.next().captured(2);
            secrets.append(secret);
            if (secret.startsWith(QLatin1Char('\''))) {
                secret = secret.mid(1, secret.size() - (secret.endsWith(QLatin1Char('\'')) ? 2 : 1));
                secrets.append(secret);
            }
            secrets.append(QUrl::fromPercentEncoding(secret.toUtf8()));
            secrets += secret.split(QLatin1Char(' ')); // what is not quoted is taken for words
        }
    }
    secrets.removeAll(QString());
    std::sort(secrets.begin(), secrets.end(),
              [](const QString& a, const QString& b) { return a.size() > b.size(); });
    return secrets;
}

} // namespace

bool isPostgres(const QString& path) {
    return path.startsWith(QLatin1String("PG:"), Qt::CaseInsensitive) ||
           path.startsWith(QLatin1String("postgresql://"), Qt::CaseInsensitive) ||
           path.startsWith(QLatin1String("postgres://"), Qt::CaseInsensitive);
}

QString nameOfSource(const QString& path) {
    const OgrFormat* const format = OgrFormat::forPath(path);
    return format != nullptr && format->isServer ? QString::fromLatin1(format->driver)
                                                 : QFileInfo(path).completeBaseName();
}

QString shownPath(const QString& path) {
    if (!isPostgres(path)) {
        return path;
    }
    QString shown = path;
    shown.replace(assignment(), QStringLiteral("\\1=") + hidden);
    return shown.replace(inAddress(), QStringLiteral("\\1") + hidden);
}

QString shownText(QString text, const QString& path) {
    if (isPostgres(path)) {
        text.replace(path, shownPath(path));
        const QStringList secrets = secretsOf(path);
        for (const QString& secret : secrets) {
            // Whole words: a password "a" is not in "relation".
            const QRegularExpression word(
                QStringLiteral("(?<!\\w)%1(?!\\w)").arg(QRegularExpression::escape(secret)));
            text.replace(word, hidden);
        }
    }
    return text;
}

QByteArray quotedName(const QByteArray& name) {
    QByteArray quoted = name;
    return '"' + quoted.replace('"', "\"\"") + '"';
}

QByteArray quotedText(QByteArrayView text) {
    QByteArray quoted = text.toByteArray();
    quoted.replace('\\', "\\\\").replace('\'', "''");
    return " E'" + quoted + '\''; // behind a blank: a name before it would swallow the E
}

void forRows(GDALDataset& source, const QByteArray& sql, const std::function<void(OGRFeature&)>& function) {
    const Common::Internal::GdalErrorCapture errors;
    if (OGRLayer* const result = source.ExecuteSQL(sql.constData(), nullptr, nullptr)) {
        const auto end = qScopeGuard([&] { source.ReleaseResultSet(result); });
        result->ResetReading();
        while (const Common::Internal::FeaturePtr row{result->GetNextFeature()}) {
            function(*row);
        }
    }
    if (!errors.message().isEmpty()) {
        QString reason = errors.message().section(QLatin1Char('\n'), 0, 0);
        reason.remove(QRegularExpression(QStringLiteral("^ERROR:\\s*")));
        throw std::runtime_error(reason.toStdString());
    }
}

SqlRows execute(GDALDataset& source, const QByteArray& sql) {
    // GDAL would read what begins with SELECT in several messages, by a cursor.
    SqlRows rows;
    forRows(source, sql.startsWith("SELECT ") ? "/**/" + sql : sql, [&rows](OGRFeature& row) {
        QList<QByteArray> values;
        for (int i = 0; i < row.GetFieldCount(); ++i) {
            values.append(row.IsFieldSetAndNotNull(i) ? QByteArray(row.GetFieldAsString(i)) : QByteArray());
        }
        rows.append(values);
    });
    return rows;
}

void askPlainTexts(GDALDataset& source) {
    execute(source,
            "SELECT set_config('extra_float_digits', '3', false) AS a, set_config('DateStyle', 'ISO', "
            "false) AS b, set_config('IntervalStyle', 'postgres', false) AS c");
}

} // namespace Cartolith::Core::Layers::Internal
