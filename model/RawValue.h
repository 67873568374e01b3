#pragma once

#include <QList>
#include <QMetaEnum>
#include <QString>
#include <QStringView>

#include <optional>

// Every enumeration of the usage model is stored as a string, its raw value:
// the enumerator's own name, as moc records it (each enumeration is declared
// with Q_ENUM_NS), so no table of names can drift from the enumeration.
template <typename E>
QString rawValue(E value)
{
    return QString::fromLatin1(QMetaEnum::fromType<E>().valueToKey(static_cast<int>(value)));
}

// The enumerators in their declared order (providers are iterated in this
// order everywhere).
template <typename E>
QList<E> enumCases()
{
    const QMetaEnum meta = QMetaEnum::fromType<E>();
    QList<E> cases;
    for (int i = 0; i < meta.keyCount(); ++i)
        cases.append(static_cast<E>(meta.value(i)));
    return cases;
}

template <typename E>
inline const QList<E> allCases = enumCases<E>();

// Only a bare enumerator name is a raw value ("sample", not
// "UsageSource::sample", which QMetaEnum would also take).
template <typename E>
std::optional<E> fromRawValue(QStringView text)
{
    for (E value : enumCases<E>()) {
        if (rawValue(value) == text)
            return value;
    }
    return std::nullopt;
}
