#pragma once

namespace brivel {

// Where this copy of the program gets its new versions: its feed; the system's package manager, for a
// copy installed below /usr/ without a feed; or nowhere the updater knows of, for a build without a feed.
enum class UpdateSource { feed, packageManager, none };

} // namespace brivel
