#include "host/serve/media/Exporter.h"

#include <chrono>
#include <span>
#include <utility>

#include "host/digest.h"
#include "host/serve/http/HttpMessage.h"
#include "host/serve/media/ExportMedia.h"
#include "host/serve/media/exportFront.h"
#include "util/bytes.h"

namespace host::serve {
namespace {

/// The boxes before the media, which count as long as any body has them.
class CountedBytes {
 public:
  CountedBytes(std::vector<std::byte> bytes, std::shared_ptr<std::atomic<std::uint64_t>> used, std::uint64_t most)
      : bytes_(std::move(bytes)), used_(std::move(used)) {
    if (used_->fetch_add(bytes_.size()) + bytes_.size() <= most) return;
    used_->fetch_sub(bytes_.size());
    throw HttpError{503, "too many exports are being sent"};
  }
  ~CountedBytes() { used_->fetch_sub(bytes_.size()); }
  CountedBytes(const CountedBytes&) = delete;
  CountedBytes& operator=(const CountedBytes&) = delete;

  const std::vector<std::byte>& bytes() const { return bytes_; }

 private:
  std::vector<std::byte> bytes_;
  std::shared_ptr<std::atomic<std::uint64_t>> used_;
};

/// A digest of everything on which a byte of the file depends: the front itself, and the places of the media.
std::string etagOf(std::span<const std::byte> front, const ExportMedia& media) {
  qvs::util::ByteWriter all;
  constexpr std::size_t kShown = 16;
  all.text(digestText(front, kShown));
  all.text(digestText(media.identity().bytes(), kShown));
  return "\"" + digestText(all.bytes(), kShown) + "\"";
}

}  // namespace

ExportedFile Exporter::make(const std::vector<MediaRecording>& recordings, const TimeSpan& span) {
  if (!slots_.try_acquire_for(std::chrono::seconds(10))) throw HttpError{503, "too many exports are being made"};
  struct Release {
    ~Release() { slots.release(); }
    std::counting_semaphore<kAtOnce>& slots;
  } const release{slots_};
  ExportMedia media(span, limits_);
  for (const MediaRecording& recording : recordings) media.add(recording);
  media.finish();
  const FileSpan presented = media.presentedSpan();
  if (presented.endMs <= presented.beginMs) throw HttpError{404, "nothing is recorded in that time"};
  const auto front = std::make_shared<const CountedBytes>(makeExportFront(media, presented), used_, limits_.bytes);
  ExportedFile file;
  file.etag = etagOf(front->bytes(), media);
  file.time = media.timeOfDay(presented);
  file.body.add(std::shared_ptr<const std::vector<std::byte>>(front, &front->bytes()));
  for (const ExportMedia::Piece& piece : media.pieces()) file.body.add(piece.file, piece.offset, piece.size);
  return file;
}

}  // namespace host::serve
