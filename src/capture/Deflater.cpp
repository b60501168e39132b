#include "capture/Deflater.h"

#include <algorithm>
#include <isa-l/igzip_lib.h>

namespace velmo {

namespace {

constexpr uint32_t kLevel = 1;

/// What is added to the output when it is full. Screens need a few of these, photographs some dozens.
constexpr qsizetype kRoom = qsizetype(128) * 1024;

} // namespace

Deflater::Deflater(QByteArray& output)
    : output_(output)
    , stream_(std::make_unique<isal_zstream>())
    , workspace_(std::make_unique_for_overwrite<uchar[]>(ISAL_DEF_LVL1_DEFAULT))
{
    isal_deflate_init(stream_.get());
    stream_->gzip_flag = IGZIP_ZLIB;
    stream_->level = kLevel;
    stream_->level_buf = workspace_.get();
    stream_->level_buf_size = ISAL_DEF_LVL1_DEFAULT;
}

Deflater::~Deflater() = default;

bool Deflater::add(std::span<const uchar> bytes, Piece piece)
{
    // The library only reads from there.
    stream_->next_in = const_cast<uchar*>(bytes.data());
    stream_->avail_in = static_cast<uint32_t>(bytes.size());
    stream_->end_of_stream = piece == Piece::Last ? 1 : 0;
    while (stream_->avail_in > 0 || (piece == Piece::Last && stream_->internal_state.state != ZSTATE_END)) {
        const qsizetype used = output_.size();
        output_.reserve(std::max(output_.capacity(), 2 * used));
        output_.resize(used + kRoom);
        stream_->next_out = reinterpret_cast<uchar*>(output_.data() + used);
        stream_->avail_out = static_cast<uint32_t>(kRoom);
        const int status = isal_deflate(stream_.get());
        output_.resize(used + kRoom - static_cast<qsizetype>(stream_->avail_out));
        if (status != COMP_OK)
            return false;
    }
    return true;
}

} // namespace velmo
