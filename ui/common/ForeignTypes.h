#pragma once

#include "app/AppModel.h"
#include "app/UpdaterModel.h"

#include <QtQml/qqml.h>

// The application model and the update checker live below the views and know
// nothing of QML; these make their properties known to it by type.
struct AppModelForeign {
    Q_GADGET
    QML_FOREIGN(AppModel)
    QML_NAMED_ELEMENT(AppModel)
    QML_UNCREATABLE("The application has one model.")
};

struct UpdaterModelForeign {
    Q_GADGET
    QML_FOREIGN(UpdaterModel)
    QML_NAMED_ELEMENT(UpdaterModel)
    QML_UNCREATABLE("The application has one update checker.")
};
