// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "program.h"
#include "shell.h"

/// Asks until the answer is yes, for ten seconds at most; returns the last answer.
template <typename Question>
bool Within10Seconds(Question question) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!question()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

/// Where the daemons of the tests live, one after the other: not where the machine's own does.
class DltPlace {
 public:
  DltPlace() : m_port(FreePort()) {
    std::ofstream(File("conf"))
        << "SendContextRegistration = 1\nECUId = ECU1\nBindAddress = ::ffff:127.0.0.1\n"
        << "ControlSocketPath = " << File("control") << "\n"
        << "PersistanceStoragePath = " << m_folder.path().string() << "\n";
    ::setenv("DLT_PIPE_DIR", m_folder.path().c_str(), 1);
    const std::string unpacked = CCI_PROJECT_FOLDER "/build/servers/usr/bin:";  // by ./run test
    ::setenv("PATH", (unpacked + std::getenv("PATH")).c_str(), 1);
  }

  std::string File(const std::string& name) const { return m_folder.path() / name; }
  std::string Port() const { return std::to_string(m_port); }

  bool Answers() const {
    const int client = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = Loopback(m_port);
    const int result = ::connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    ::close(client);
    return result == 0;
  }

 private:
  static sockaddr_in Loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
  }

  static std::uint16_t FreePort() {
    const int server = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = Loopback(0);
    socklen_t size = sizeof address;
    ::bind(server, reinterpret_cast<const sockaddr*>(&address), size);
    ::getsockname(server, reinterpret_cast<sockaddr*>(&address), &size);
    ::close(server);
    return ntohs(address.sin_port);
  }

  const test_support::TemporaryFolder m_folder;
  const std::uint16_t m_port;
};

/// A daemon and one reader of it, which also stores what it reads.
class DltDaemon {
 public:
  explicit DltDaemon(const DltPlace& place)
      : m_place(place),
        m_daemon({"dlt-daemon", "-t", place.File(""), "-p", place.Port(), "-c", place.File("conf")},
                 place.File("daemon")),
        m_answers(Within10Seconds([&] { return place.Answers(); })),
        m_reader({"stdbuf", "-oL", "dlt-receive", "-a", "-o", place.File("stored"), "-p", place.Port(),
                  "127.0.0.1"},
                 place.File("read")) {
    EXPECT_TRUE(m_answers);
  }

  /// What the reader has printed of records so far: ids, level, number of arguments and arguments. An
  /// incomplete line is none.
  std::vector<std::string> Records() const { return RecordsIn(m_place.File("read")); }

  /// What dlt-convert prints of the same records, as stored.
  std::vector<std::string> StoredRecords() const {
    const std::string output = m_place.File("converted");
    EXPECT_EQ(std::system(("dlt-convert -a " + m_place.File("stored") + " >" + output).c_str()), 0);
    return RecordsIn(output);
  }

  /// Waits for a record in which `text` is, and returns all that there are by then.
  std::vector<std::string> RecordsUntil(const std::string& text) const {
    const auto is_there = [&] {
      return testing::Value(Records(), testing::Contains(testing::HasSubstr(text)));
    };
    EXPECT_TRUE(Within10Seconds(is_there)) << "no record has: " << text;
    return Records();
  }

 private:
  static std::vector<std::string> RecordsIn(const std::string& path) {
    const std::string ecu = " ECU1 ";
    std::vector<std::string> records;
    for (const std::string& line : LinesOf(path)) {
      const bool is_record =
          line.find(" log ") != std::string::npos && line.find(" DLTD ") == std::string::npos;
      if (is_record && line.back() == ']') records.push_back(line.substr(line.find(ecu) + ecu.size()));
    }
    return records;
  }

  const DltPlace& m_place;
  const Program m_daemon;
  const bool m_answers;
  const Program m_reader;
};
