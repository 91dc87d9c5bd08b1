// The process's widget application object, created on first use.
#pragma once

namespace vqt::dialogs {

// True when a widget application exists or could be created now. Creates it with the
// process's own command line when needed; it then lives until the process ends.
bool ensureWidgetApplication();

}  // namespace vqt::dialogs
