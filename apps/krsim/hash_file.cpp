#include "apps/krsim/hash_file.h"

#include <algorithm>
#include <optional>

#include "apps/krsim/failure.h"
#include "kr/platform/text.h"

namespace krsim {
namespace {

constexpr std::size_t kHashDigits = 16;

void appendHash(std::string& text, std::uint64_t hash) {
    for (unsigned shift = 64; shift > 0; shift -= 8)
        Kr::appendHex(text, static_cast<unsigned char>(hash >> (shift - 8)));
}

std::string toText(const HashFile::Frame& frame) {
    std::string text;
    HashFile::appendFrame(text, frame);
    return text;
}

/// The next complete line, without its end; the text begins behind it then.
std::optional<std::string_view> takeLine(std::string_view& text) {
    const auto end = text.find('\n');
    if (end == std::string_view::npos) return std::nullopt;  // a part of one counts no more than none
    const auto line = text.substr(0, end);
    text.remove_prefix(end + 1);
    return line;
}

/// The text up to the first blank, and the text behind it.
std::pair<std::string_view, std::string_view> splitAtBlank(std::string_view line) {
    const auto blank = line.find(' ');
    return {line.substr(0, blank), blank == std::string_view::npos ? std::string_view() : line.substr(blank + 1)};
}

std::optional<HashFile::Frame> parseFrame(std::string_view line) {
    const auto [number, hash] = splitAtBlank(line);
    const auto parsedNumber = Kr::parseNumber<std::uint64_t>(number);
    const auto parsedHash = Kr::parseNumber<std::uint64_t>(hash, 16);
    if (!parsedNumber || !parsedHash || hash.size() != kHashDigits) return std::nullopt;
    return HashFile::Frame{*parsedNumber, *parsedHash};
}

[[noreturn]] void refuse(const std::string& filename, const std::string& why) {
    throw Failure(eExitCode::kRefusedFile, "file '" + filename + "' is refused: " + why);
}

std::string describeRest(const HashFile& file, std::size_t from, const char* which) {
    const auto first = file.frames[from].number;
    const auto last = file.frames.back().number;
    return (first == last ? "frame " + Kr::toText(first) : "frames " + Kr::toText(first) + " to " + Kr::toText(last)) +
           ": only in the " + which + "\n";
}

/// A line for each value of the header that is not the same in both, in the order of both.
std::string compareHeaders(const HashFile& first, const HashFile& second) {
    const auto tell = [](const HashFile& file, const HashFile& other, const char* which) {
        std::string text;
        for (const auto& each : file.header) {
            if (std::find(other.header.begin(), other.header.end(), each) == other.header.end())
                text.append("only in the ").append(which).append(": ").append(each.first + " " + each.second + "\n");
        }
        return text;
    };
    return tell(first, second, "first") + tell(second, first, "second");
}

/// The place of the first frame with this number or a higher one.
std::size_t findFrame(const HashFile& file, std::uint64_t number) {
    const auto found = std::find_if(file.frames.begin(), file.frames.end(),
                                    [&](const HashFile::Frame& each) { return each.number >= number; });
    return static_cast<std::size_t>(found - file.frames.begin());
}

}  // namespace

HashFile HashFile::parse(const std::string& filename, std::string_view text) {
    HashFile file;
    const auto first = takeLine(text);
    if (first != kFirstLine) {
        refuse(filename,
               first && isOne(*first) ? "its frame hashes are those of a later release" : "it holds no frame hashes");
    }
    bool isHeader = true;
    for (std::size_t number = 2; const auto line = takeLine(text); ++number) {
        if (isHeader) {
            isHeader = *line != kFrames;
            const auto [name, value] = splitAtBlank(*line);
            if (isHeader) file.header.emplace_back(name, value);
        } else if (line->starts_with(kEnd) && text.empty()) {
            file.isComplete = true;
        } else if (const auto frame = parseFrame(*line)) {
            file.frames.push_back(*frame);
        } else {
            refuse(filename, "line " + std::to_string(number) + " is no number of a frame with its hash");
        }
    }
    return file;
}

std::string HashFile::formatHeader() const {
    std::string text = std::string(kFirstLine) + "\n";
    for (const auto& [name, value] : header)
        text.append(name).append(" ").append(value).append("\n");
    return text + kFrames + "\n";
}

void HashFile::appendFrame(std::string& text, const Frame& frame) {
    Kr::appendNumber(text, frame.number);
    text += ' ';
    appendHash(text, frame.hash);
}

HashDifference compareHashes(const HashFile& first, const HashFile& second) {
    if (first.frames.empty() || second.frames.empty())
        return {first.frames.empty() && second.frames.empty() ? "none of the files has frames\n"
                                                              : "only one of the files has frames\n",
                0, false};
    const auto begin = std::max(first.frames.front().number, second.frames.front().number);
    std::size_t at = findFrame(first, begin);
    std::size_t other = findFrame(second, begin);
    const auto isCommon = [&] { return at < first.frames.size() && other < second.frames.size(); };
    if (!isCommon()) return {"no frame is in both files\n", begin, false};
    for (; isCommon(); ++at, ++other) {
        const auto& one = first.frames[at];
        const auto& two = second.frames[other];
        if (one.number == two.number && one.hash == two.hash) continue;
        return {"frame " + toText(one) + " -> " + toText(two) + "\n" + compareHeaders(first, second), one.number, true};
    }
    HashDifference difference;
    const auto end = at > 0 ? first.frames[at - 1].number : begin;
    difference.frame = end;
    if (at < first.frames.size()) difference.text = describeRest(first, at, "first");
    if (other < second.frames.size()) difference.text = describeRest(second, other, "second");
    if (difference.text.empty()) return difference;
    const auto& shorter = at < first.frames.size() ? second : first;
    difference.text += shorter.isComplete ? compareHeaders(first, second) : "the other file was cut off\n";
    return difference;
}

}  // namespace krsim
