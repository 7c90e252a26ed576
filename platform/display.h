// The display that the program's windows are made on.
#pragma once

/// Lets the program start where no display is: picks Qt's offscreen platform then. Leaves a
/// choice that the environment already makes alone. Call before QApplication is constructed.
void preparePlatformDisplay();
