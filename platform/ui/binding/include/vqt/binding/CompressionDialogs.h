// Connects the standard compression component to the compression and sound settings windows:
// after this call SCRequestSequenceSettings / SCRequestImageSettings show them.
#pragma once

// Installs the dialog hook (again: replaces the previous one). Without a display a request prints
// one line on standard error and is cancelled.
void VqtInstallCompressionDialogs();
