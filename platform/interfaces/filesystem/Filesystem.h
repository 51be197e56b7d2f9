// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

/// Files of the phone. Every path is absolute and is taken below the phone's root directory. A path
/// that is not absolute or that holds a "." or ".." component, a NUL or another control character
/// is refused. A file or directory is made exactly where its path says: a symbolic link on the way
/// to it is followed only in the top that the distribution lays out (the root directory, the first
/// component of the path, "/var/volatile") and is an error below, and a link in the place of a
/// written file is replaced. A file name longer than 255 bytes stands on the disk as its first 190
/// bytes, "~" and the SHA-256 of the whole name in lower-case hexadecimal, for every operation of
/// the platform. All failures are std::runtime_error whose text names the operation, the path and
/// the cause; where the system refused, std::system_error with its error number. Any thread.
namespace filesystem {

/// Modes of files at creation; the process's umask applies.
constexpr unsigned int PRIVATE_FILE = 0600; ///< a file that may hold keys or passwords
constexpr unsigned int PUBLIC_FILE = 0644;

/// Whole content of a file of at most maxBytes; a larger one is refused without being read.
constexpr unsigned long long MAX_READ_BYTES = 256ULL << 20U;
std::string read(const std::string& path, unsigned long long maxBytes = MAX_READ_BYTES);

/// Replaces the file's content: written to a temporary name in the same directory with the given
/// mode, flushed to disk and renamed, so that a reader or a power cut sees the old or the new
/// content and never a part. The directory must exist. A name in the form of temporary names is
/// refused: ".tmp-" and 16 hexadecimal digits in lower case.
void write(const std::string& path, const std::string& content, unsigned int mode = PRIVATE_FILE);

/// How deep removal goes. Symbolic links to directories are not followed below the top.
enum class Within { Directory, DirectoryAndThoseInIt };

/// Removes the temporary files that a power cut or a killed process left: regular files with a name
/// of that form and no second link, which no process holds locked (every writer does, with
/// flock()). A missing directory is skipped. Throws nothing: each failure to read or remove is one
/// level 2 line, and the rest goes on.
void removeAbandonedFiles(const std::string& directory, Within within);

/// Removes every regular file in the directory and in those in it, but for the kept ones: paths as
/// they are given to the other operations. Other kinds of files stay. Errors as above; when one of
/// the paths is refused, nothing is removed. Memory does not grow with the number of files.
void removeRegularFiles(const std::string& directory, const std::vector<std::string>& kept);

/// True when the path names an existing directory that files can be written to: no symbolic link
/// below the top leads to it. A trailing "/" is allowed.
bool doesDirectoryExist(const std::string& path);

/// Makes a directory and its missing parents, each with this mode whatever the umask. An existing
/// directory is left as it is.
void makeDirectory(const std::string& path, unsigned int mode);

} // namespace filesystem
