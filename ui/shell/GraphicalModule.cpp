// The graphical module's entry points, looked up by the executable with dlsym.
#include "ui/shell/LimitraApplication.h"

#include <QtQml/qqmlextensionplugin.h>

Q_IMPORT_QML_PLUGIN(LimitraPlugin)

extern "C" Q_DECL_EXPORT int limitra_run_application(int argc, char **argv)
{
    return runLimitraApplication(argc, argv);
}

extern "C" Q_DECL_EXPORT int limitra_toggle_panel(int argc, char **argv)
{
    return toggleRunningPanel(argc, argv);
}
