#include "core/mail/MessageWriter.h"

#include <utility>

#include "core/mail/MIME.h"
#include "core/mail/SyncSession.h"

namespace vesk {

MessageWriter::MessageWriter(MailStore& store, std::string accountID, std::string path, std::size_t& added)
    : store_(store), accountID_(std::move(accountID)), path_(std::move(path)), added_(added), thread_([this] {
        work();
      }) {}

MessageWriter::~MessageWriter() { end(); }

void MessageWriter::add(std::vector<IMAPMessage> batch) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return !waiting_ || failure_; });
  if (failure_) std::rethrow_exception(failure_);
  waiting_ = std::move(batch);
  changed_.notify_all();
}

std::size_t MessageWriter::done() const {
  const std::lock_guard lock(mutex_);
  return done_;
}

void MessageWriter::finish() {
  end();
  if (failure_) std::rethrow_exception(failure_);
}

void MessageWriter::end() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard lock(mutex_);
    isEnding_ = true;
  }
  changed_.notify_all();
  thread_.join();
  added_ += stored_;
}

void MessageWriter::work() {
  try {
    while (const auto batch = next()) store(*batch);
  } catch (...) {
    const std::lock_guard lock(mutex_);
    failure_ = std::current_exception();
    changed_.notify_all();
  }
}

// Nullopt when there will be no more.
std::optional<MessageWriter::Batch> MessageWriter::next() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return waiting_ || isEnding_; });
  std::optional<Batch> batch = std::exchange(waiting_, std::nullopt);
  changed_.notify_all();
  return batch;
}

void MessageWriter::store(const Batch& batch) {
  std::vector<MailRecord> records;
  records.reserve(batch.size());
  for (const IMAPMessage& message : batch)
    records.push_back({message.uid, message.isRead(), message.isFlagged(), MIME::parse(message.body.value_or(""))});
  const std::size_t stored = store_.insert(records, accountID_, path_);
  const std::lock_guard lock(mutex_);
  done_ += batch.size();
  stored_ += stored;
}

}  // namespace vesk
