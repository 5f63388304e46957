#pragma once

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>

namespace testing_support {

/// What a command prints. Throws when it fails.
inline std::string outputOf(const std::string& command) {
  std::FILE* const pipe = popen(command.c_str(), "r");
  std::string output;
  for (int byte = 0; (byte = std::fgetc(pipe)) != EOF;) output += static_cast<char>(byte);
  if (pclose(pipe) != 0) throw std::runtime_error(command + ": " + output);
  return output;
}

/// Redis nodes that redis_test.sh has started: a cluster of three masters with a replica
/// each, or a single one with a password.
class RedisServers {
 public:
  /// @param name  CLUSTER or PLAIN
  explicit RedisServers(const std::string& name)
      : url(std::getenv((name + "_URL").c_str())),
        folder_(std::getenv((name + "_FOLDER").c_str())) {}

  /// The number of the node of a name, HOST:PORT; all are on this machine.
  int nodeOf(const std::string& name) const {
    const std::string port = name.substr(name.rfind(':') + 1);
    for (int node = 1;; ++node) {
      if (read(node, "port") == port) return node;
    }
  }
  std::string nameOf(int node) const { return "127.0.0.1:" + read(node, "port"); }
  void kill(int node) const { script("kill", node); }
  void restart(int node) const { script("restart", node); }
  void stop(int node) const { ::kill(std::stoi(read(node, "pid")), SIGSTOP); }
  void goOn(int node) const { ::kill(std::stoi(read(node, "pid")), SIGCONT); }
  /// Asks a node by Redis' own client.
  std::string ask(int node, const std::string& words) const {
    return outputOf("redis-cli -p " + read(node, "port") + " " + words);
  }
  /// Asks until the answer holds a text: what nodes tell each other takes a while.
  void await(int node, const std::string& words, const std::string& text) const {
    while (ask(node, words).find(text) == std::string::npos) outputOf("sleep 0.1");
  }

  const std::string url;

 private:
  std::string read(int node, const char* file) const {
    std::ifstream stream(folder_ + "/" + std::to_string(node) + "/" + file);
    std::string word;
    if (!(stream >> word)) throw std::runtime_error("there is no such node");
    return word;
  }
  void script(const std::string& verb, int node) const {
    outputOf(std::getenv("CLUSTER_SCRIPT") + (" " + verb) + " " + std::to_string(node) + " --dir " +
             folder_);
  }

  std::string folder_;
};

}  // namespace testing_support
