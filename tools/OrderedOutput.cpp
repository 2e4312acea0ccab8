#include "OrderedOutput.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace recognize {

void OrderedOutput::Add(std::size_t index, std::vector<Piece> pieces) {
    const std::lock_guard lock(mutex_);
    if (index == head_) {
        std::ranges::for_each(pieces, [this](const Piece& piece) { Write(piece); });
    } else {
        std::vector<Piece>& waiting = files_[index].waiting;
        waiting.insert(waiting.end(), std::move_iterator(pieces.begin()),
                       std::move_iterator(pieces.end()));
    }
}

void OrderedOutput::AddResult(std::size_t index, std::string text) {
    std::vector<Piece> pieces;
    pieces.push_back({false, std::move(text)});  // which a list in braces would copy
    Add(index, std::move(pieces));
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
    if (!piece.is_message) {
        console_.WriteResult(piece.text);
    } else if (!console_.ResultsLost()) {
        console_.Message(piece.text);
    }
}

}  // namespace recognize
