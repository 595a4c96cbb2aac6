#include "ai/SettingsValues.h"

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

bool isIntegerType(int typeId)
{
    switch (typeId) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::Short:
    case QMetaType::UShort:
        return true;
    default:
        return false;
    }
}

} // namespace

namespace SettingsValues {

std::optional<bool> toBool(const QVariant& value)
{
    if (value.typeId() == QMetaType::Bool)
        return value.toBool();
    if (value.typeId() == QMetaType::QString) {
        const QString text = value.toString();
        if (text == u"true"_s)
            return true;
        if (text == u"false"_s)
            return false;
    }
    return std::nullopt;
}

std::optional<double> toDouble(const QVariant& value)
{
    bool ok = false;
    double number = 0;
    if (value.typeId() == QMetaType::Double || value.typeId() == QMetaType::Float ||
        isIntegerType(value.typeId())) {
        number = value.toDouble(&ok);
    } else if (value.typeId() == QMetaType::QString) {
        number = value.toString().toDouble(&ok);
    }
    if (!ok || !std::isfinite(number))
        return std::nullopt;
    return number;
}

std::optional<qint64> toInteger(const QVariant& value)
{
    bool ok = false;
    qint64 number = 0;
    if (isIntegerType(value.typeId())) {
        number = value.toLongLong(&ok);
    } else if (value.typeId() == QMetaType::Double) {
        const double d = value.toDouble();
        ok = std::isfinite(d) && d == std::trunc(d) && std::abs(d) < 9.0e18;
        number = static_cast<qint64>(d);
    } else if (value.typeId() == QMetaType::QString) {
        number = value.toString().toLongLong(&ok);
    }
    if (!ok)
        return std::nullopt;
    return number;
}

std::optional<QString> toString(const QVariant& value)
{
    if (value.typeId() != QMetaType::QString)
        return std::nullopt;
    return value.toString();
}

} // namespace SettingsValues
