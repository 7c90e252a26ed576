// How Qt runs on this system.
#pragma once

/// Lets the program start where no display is, on Qt's offscreen platform, and keeps the threads'
/// event loops light. Leaves a choice that the environment already makes alone. Call before
/// QApplication is constructed.
void prepareQt();
