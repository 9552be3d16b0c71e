// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

/// A program that runs as long as this object lives. What it prints is in a file.
class Program {
 public:
  Program(std::vector<std::string> words, const std::string& output) {
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    posix_spawn_file_actions_adddup2(&files, STDOUT_FILENO, STDERR_FILENO);
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(&word[0]);
    arguments.push_back(nullptr);
    const int error = ::posix_spawnp(&m_id, arguments[0], &files, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    if (error != 0) throw std::runtime_error("cannot start " + words[0]);
  }

  ~Program() {
    ::kill(m_id, SIGTERM);
    ::waitpid(m_id, nullptr, 0);
  }

  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

 private:
  pid_t m_id = -1;
};
