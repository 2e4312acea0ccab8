// JSON, written piece by piece. The JSON library's own tree of values would take some twenty times
// the memory of what it tells, and ends the program where taking it down needs more than there is.
#pragma once

#include <string>
#include <string_view>
#include <utility>

namespace recognize {

// Commas come by themselves. All calls may throw std::bad_alloc; then the text is not complete.
class JsonWriter {
  public:
    // `body` writes the names and values, or the elements.
    template <typename Body>
    void Object(Body body) {
        Enclosed('{', '}', body);
    }
    template <typename Body>
    void Array(Body body) {
        Enclosed('[', ']', body);
    }

    // Of a value in an object; the value follows. Plain letters.
    void Name(std::string_view name);
    // What is not UTF-8 becomes replacement characters; control characters are escaped, also those
    // that JSON allows (DEL, C1), as a terminal would obey some of them.
    void Text(std::string_view text);
    void Number(int number) { Verbatim(std::to_string(number)); }
    void Number(double number);
    void Null() { Verbatim("null"); }
    // JSON that was written before.
    void Verbatim(std::string_view json);

    std::string Take() { return std::exchange(text_, {}); }

  private:
    template <typename Body>
    void Enclosed(char begin, char end, Body body) {
        Verbatim({&begin, 1});
        is_first_ = true;
        body();
        text_ += end;
        is_first_ = false;
    }

    std::string text_;
    bool is_first_ = true;  // of what stands side by side
};

bool IsUtf8(std::string_view text);

}  // namespace recognize
