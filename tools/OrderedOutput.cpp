#include "OrderedOutput.h"

#include <utility>

namespace recognize {

void OrderedOutput::Add(std::size_t index, Piece piece) {
    const std::lock_guard lock(mutex_);
    if (index == head_) {
        Write(piece);
    } else {
        files_[index].waiting.push_back(std::move(piece));
    }
}

void OrderedOutput::Finish(std::size_t index) {
    const std::lock_guard lock(mutex_);
    files_[index].is_finished = true;
    while (head_ < files_.size() && files_[head_].is_finished) {
        ++head_;
        if (head_ < files_.size()) {
            for (const Piece& piece : std::exchange(files_[head_].waiting, {})) {
                Write(piece);
            }
        }
    }
}

void OrderedOutput::Write(const Piece& piece) {
    if (piece.is_message) {
        console_.Message(piece.text);
    } else {
        console_.WriteResult(piece.text);
    }
}

}  // namespace recognize
