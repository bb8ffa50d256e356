#pragma once

namespace vitrek {

// Asks the kernel to back this process's heap with 2 MiB pages where it allows that ("madvise" mode of
// transparent huge pages). A terminal command that parses a long log allocates tens of megabytes of small
// records at once; with 4 KiB pages, faulting them in costs more than the parsing on some virtual
// machines. Harmless where unsupported; call it once, before the work, and only in short-lived commands.
void preferLargePages();

} // namespace vitrek
