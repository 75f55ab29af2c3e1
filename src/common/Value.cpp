#include "common/Value.h"

#include <cmath>

#include "common/Conv.h"
#include "common/Error.h"

namespace common {

std::string Value::toText() const {
    switch (type()) {
        case Type::Null:
            raiseInvalidUseOfNull();
        case Type::Integer:
            return std::to_string(*asInteger());
        case Type::Double:
            return NumberText(*asDouble());
        case Type::Text:
            return *asText();
        case Type::Date:
            return generalDate(*asDate());
    }
    return {};
}

std::string Value::joinText() const { return isNull() ? std::string() : toText(); }

double Value::toDouble() const {
    switch (type()) {
        case Type::Null:
            raiseInvalidUseOfNull();
        case Type::Integer:
            return static_cast<double>(*asInteger());
        case Type::Double:
            return *asDouble();
        case Type::Text:
            return CDbl(*asText());
        case Type::Date: {
            const DateTime& d = *asDate();
            return static_cast<double>(d.dayNumber()) + (d.hour * 3600 + d.minute * 60 + d.second) / 86400.0;
        }
    }
    return 0;
}

int16_t Value::toInt16() const {
    if (const int64_t* i = asInteger()) {
        if (*i < -32768 || *i > 32767) raiseOverflow();
        return static_cast<int16_t>(*i);
    }
    return CInt(toDouble());
}

int32_t Value::toInt32() const {
    if (const int64_t* i = asInteger()) {
        if (*i < INT32_MIN || *i > INT32_MAX) raiseOverflow();
        return static_cast<int32_t>(*i);
    }
    return CLng(toDouble());
}

int64_t Value::toInt64() const {
    if (const int64_t* i = asInteger()) return *i;
    double r = std::nearbyint(toDouble());
    if (!(r >= -9223372036854775808.0 && r < 9223372036854775808.0)) raiseOverflow();
    return static_cast<int64_t>(r);
}

DateTime Value::toDate() const {
    switch (type()) {
        case Type::Null:
            raiseInvalidUseOfNull();
        case Type::Date:
            return *asDate();
        case Type::Text:
            return common::toDate(*asText());
        case Type::Integer:
        case Type::Double: {
            double v = toDouble();
            double days = std::floor(v);
            // The classic serial date keeps the time of day as the fraction's distance from the day.
            double frac = std::fabs(v - std::trunc(v));
            if (v < 0) days = std::trunc(v);
            DateTime d = DateTime::fromDayNumber(static_cast<int64_t>(days));
            auto secs = static_cast<int64_t>(std::llround(frac * 86400.0));
            if (secs >= 86400) secs = 86399;
            d.hour = static_cast<int>(secs / 3600);
            d.minute = static_cast<int>(secs / 60 % 60);
            d.second = static_cast<int>(secs % 60);
            if (!d.valid()) raiseOverflow();
            return d;
        }
    }
    return {};
}

bool Value::isOne() const {
    if (const int64_t* i = asInteger()) return *i == 1;
    if (const double* d = asDouble()) return *d == 1.0;
    if (const std::string* s = asText()) return Trim(*s) == "1";
    return false;
}

}  // namespace common
