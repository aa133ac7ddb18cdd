// What comes from the property engine: the frame codec, and the same bytes through the client's socket.
//
// Input: a letter that says how the stream arrives ("A" at once, any other in pieces), then the stream.

#include "fuzz/engine_end.h"
#include "fuzz/harness.h"
#include "ipc/frame.h"
#include "ipc/property_client.h"

#include <string>
#include <string_view>
#include <vector>

namespace {

namespace frame = zel::frame;

using message_t = std::vector<std::string>;

/// What the client makes of a frame.
message_t message_of(const frame::field_list_t& fields) {
    if (fields.size() != 3) {
        return {"error", "bad_payload", ""};
    }
    return {std::string{fields[0]}, std::string{fields[1]}, std::string{fields[2]}};
}

struct stream_t {
    std::vector<message_t> messages;
    std::size_t frames = 0;  ///< those without a field too
};

void check_round_trip(std::string_view bytes, const frame::field_list_t& fields) {
    const auto again = fields.size() == 1   ? frame::encode({fields[0]})
                       : fields.size() == 2 ? frame::encode({fields[0], fields[1]})
                                            : frame::encode({fields[0], fields[1], fields[2]});
    // A frame ends with a cut field at most, so what was whole stands at its start.
    fuzz::require(again.size() <= bytes.size() &&
                      again.substr(frame::header_size) ==
                          bytes.substr(frame::header_size, again.size() - frame::header_size),
                  "the fields of a frame make that frame");
    frame::field_list_t read_back;
    fuzz::require(frame::decode(again, read_back) == again.size() && read_back.size() == fields.size(),
                  "an encoded frame is decoded whole");
}

stream_t decode_all(std::string_view stream) {
    stream_t decoded;
    for (;;) {
        const auto garbage = frame::garbage_length(stream);
        fuzz::require(garbage <= stream.size(), "no more is skipped than there is");
        stream.remove_prefix(garbage);
        fuzz::require(frame::starts_like_frame(stream), "what remains starts like a frame");
        frame::field_list_t fields;
        const auto length = frame::decode(stream, fields);
        fuzz::require(length <= stream.size(), "no more is consumed than there is");
        if (length == 0) {
            fuzz::require(fields.empty(), "half a frame has no fields");
            return decoded;
        }
        ++decoded.frames;
        if (!fields.empty()) {
            decoded.messages.push_back(message_of(fields));
            if (fields.size() <= frame::field_list_t::kept) {
                check_round_trip(stream.substr(0, length), fields);
            }
        }
        stream.remove_prefix(length);
    }
}

/// Takes what has arrived. A call stops behind a frame without a field, so there is one for every frame.
void drain(zel::property_client_t& client, std::size_t frames, std::vector<message_t>& messages) {
    constexpr int no_wait = 0;
    for (std::size_t call = 0; call <= frames; ++call) {
        message_t message(3);
        const bool more = client.receive_message(message[0], message[1], message[2], no_wait);
        if (more || !message[0].empty()) {
            messages.push_back(message);
        }
    }
}

std::vector<message_t> receive_all(std::string_view stream, char how, std::size_t frames) {
    static fuzz::engine_end_t engine;
    zel::property_client_t client;
    fuzz::require(client.connect(), "a client can connect");
    engine.accept();
    std::vector<message_t> messages;
    auto sequence = static_cast<std::uint8_t>(how);
    while (!stream.empty()) {
        sequence = static_cast<std::uint8_t>(sequence * 5u + 3u);
        const auto piece = stream.substr(0, how == 'A' ? stream.size() : 1u + sequence % 64u);
        if (!engine.say(piece)) {
            break;
        }
        stream.remove_prefix(piece.size());
        if (sequence % 2 == 0) {
            drain(client, 1, messages);
        }
    }
    engine.say_no_more();
    drain(client, frames, messages);
    return messages;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t socket_holds = 65'536;
    fuzz::input_t input{data, size};
    const char how = input.letter();
    if (size > socket_holds) {
        return 0;
    }
    const auto expected = decode_all(input.rest());
    fuzz::require(receive_all(input.rest(), how, expected.frames) == expected.messages,
                  "a stream holds the same messages however it arrives");
    return 0;
}
