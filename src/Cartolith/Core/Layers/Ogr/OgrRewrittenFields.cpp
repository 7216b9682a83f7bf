#include <Cartolith/Core/Layers/Ogr/OgrEditsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFieldWritingInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFieldsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrRewrittenFieldsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrTargetInternal.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

namespace {

/// Whether a field of one type holds every value of the other, and more.
bool isWider(QMetaType::Type type, QMetaType::Type other) {
    return type != other && commonType(type, other) == type;
}

} // namespace

void addRewrittenFields(const OgrEditTarget& target, OGRFeatureDefn& from, OgrTarget& written) {
    const QList<Defs::GisAttributeDefinition> declared =
        target.driverName.startsWith(QLatin1String("GeoJSON")) ? target.definitions
                                                               : QList<Defs::GisAttributeDefinition>();
    const QList<Defs::GisAttributeDefinition> found = attributeDefinitions(from);
    for (int i = 0; i < found.size(); ++i) {
        const auto better = std::find_if(declared.begin(), declared.end(), [&](const auto& definition) {
            return definition.name() == found[i].name() && isWider(definition.type(), found[i].type());
        });
        if (better != declared.end()) {
            written.addField(*fieldOf(*better, written.driver()));
        } else {
            written.addField(*from.GetFieldDefn(i));
        }
    }
    for (const Defs::GisAttributeDefinition& definition : declared) {
        const bool isThere = std::any_of(found.begin(), found.end(), [&definition](const auto& other) {
            return other.name() == definition.name();
        });
        if (!isThere) {
            written.addField(*fieldOf(definition, written.driver()));
        }
    }
}

void copyFields(OGRFeature& from, OGRFeature& to) {
    std::vector<int> same(static_cast<std::size_t>(from.GetFieldCount()));
    for (std::size_t i = 0; i < same.size(); ++i) {
        same[i] = static_cast<int>(i);
    }
    to.SetFrom(&from, same.data());
    to.SetFID(OGRNullFID);
}

void requireEncoded(OGRFeature& feature, const QByteArray& encoding) {
    const Common::Internal::GdalErrorCapture errors;
    for (int i = 0; i < feature.GetFieldCount(); ++i) {
        const bool isText = feature.GetFieldDefnRef(i)->GetType() == OFTString;
        const QByteArrayView text(isText && feature.IsFieldSetAndNotNull(i) ? feature.GetFieldAsString(i)
                                                                            : "");
        const bool isPlain =
            std::all_of(text.begin(), text.end(), [](char c) { return static_cast<signed char>(c) >= 0; });
        if (isPlain) {
            continue;
        }
        const auto refuse = [&](const char* reason) {
            throw std::runtime_error(QStringLiteral("the text '%1' of the field '%2' cannot be saved: %3")
                                         .arg(QString::fromUtf8(text),
                                              QString::fromUtf8(feature.GetFieldDefnRef(i)->GetNameRef()),
                                              QLatin1String(reason))
                                         .toStdString());
        };
        if (encoding.isEmpty()) {
            refuse("the encoding of the table is not known, so only ASCII fits");
        }
        const auto recoded = [](const char* from, const char* is, const char* shall) {
            return std::unique_ptr<char, void (*)(void*)>(CPLRecode(from, is, shall), VSIFree);
        };
        const auto there = recoded(text.data(), CPL_ENC_UTF8, encoding.constData());
        const auto back = recoded(there.get(), encoding.constData(), CPL_ENC_UTF8);
        if (text != QByteArrayView(back.get())) {
            refuse("the encoding of the table does not have all of its characters");
        }
    }
}

} // namespace Cartolith::Core::Layers::Internal
