#pragma once

#include <string>
#include <string_view>

// Separate namespaces for a test: call these inside `runInChild`, so that they end with the child.

namespace commutil_test {

/// Enters new namespaces: any of CLONE_NEWNS, CLONE_NEWNET, CLONE_NEWUTS, CLONE_NEWIPC,
/// CLONE_NEWPID. Without root, also enters a new user namespace in which the caller is root. Later
/// mounts stay inside. Fails the test with the reason if the kernel refuses.
void enterNamespaces(int flags);

/// Bind-mounts the file or directory `source` over the existing `target`.
void bindOver(const std::string& source, const std::string& target);

/// Writes `content` to a new file with `mode` and bind-mounts it over the existing `target`.
void replaceFile(const std::string& target, std::string_view content, unsigned mode = 0644);

/// Mounts an empty tmpfs (with mount options such as "size=64k") over the directory `target`.
void mountTmpfs(const std::string& target, const std::string& options = "");

/// Runs a shell command; fails the test if it fails.
void shell(const std::string& command);

/// Runs a shell command and returns its standard output.
std::string shellOutput(const std::string& command);

}  // namespace commutil_test
