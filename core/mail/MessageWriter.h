#pragma once

#include <condition_variable>
#include <cstddef>
#include <exception>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "core/mail/IMAPAnswers.h"
#include "core/mail/MailStore.h"

namespace vesk {

// Takes fetched messages apart and stores them, on a thread of its own, while more are fetched. Each batch is stored
// whole or not at all.
class MessageWriter {
 public:
  // `added` is raised in the end by the number of messages that weren't stored yet.
  MessageWriter(MailStore& store, std::string accountID, std::string path, std::size_t& added);
  ~MessageWriter();  // stores what it was given, as far as that works
  MessageWriter(const MessageWriter&) = delete;
  MessageWriter& operator=(const MessageWriter&) = delete;

  // Waits while another batch waits, and throws what went wrong with an earlier one.
  void add(std::vector<IMAPMessage> batch);

  // How many of the messages are done with so far.
  std::size_t done() const;

  // Waits until all is stored, and throws what went wrong.
  void finish();

 private:
  using Batch = std::vector<IMAPMessage>;

  void work();
  std::optional<Batch> next();
  void store(const Batch& batch);
  void end();

  MailStore& store_;
  const std::string accountID_;
  const std::string path_;
  std::size_t& added_;

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::optional<Batch> waiting_;
  std::size_t done_ = 0;
  std::size_t stored_ = 0;
  std::exception_ptr failure_;
  bool isEnding_ = false;
  std::thread thread_;  // the last one to be made
};

}  // namespace vesk
