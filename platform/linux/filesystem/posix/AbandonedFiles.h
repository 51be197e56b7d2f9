#ifndef FILESYSTEM_POSIX_ABANDONEDFILES_H
#define FILESYSTEM_POSIX_ABANDONEDFILES_H

namespace filesystem {

/// Removes from an open directory the temporary files that a power cut or a killed process left:
/// those that nobody holds locked. Each directory once in the life of the process, so that the
/// names in it do not count for every file that is written there; of so many directories that the
/// phone does not write to, some may be looked through again. From every thread.
void removeAbandonedFiles(int directory);

/// Locks a file just created against the above in all processes, until its last descriptor is
/// closed. False when another process has it locked, to remove it; it may also be removed already,
/// which its number of links tells afterwards.
bool lockAgainstRemoval(int file);

} // namespace filesystem

#endif
