// Faults that the language's runtime finds, not the processor.
#pragma once

/// Makes exceptions of them that nobody catches, so that the crash handler gets them too: of the
/// types in `handlerTypes`, as far as Breakpad does not see to them itself with this compiler.
void raiseRuntimeFaults(int handlerTypes);
