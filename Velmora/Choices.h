#pragma once

#include "Enums.h"

#include <QVariantList>
#include <QVariantMap>

// A picker's choices for QML: every case of `E` in order, as {value: wire text, label}.
template <typename E>
QVariantList wireChoices() {
    QVariantList choices;
    for (const E value : Wire::allValues<E>())
        choices.append(QVariantMap{{QStringLiteral("value"), Wire::string(value)},
                                   {QStringLiteral("label"), label(value)}});
    return choices;
}
