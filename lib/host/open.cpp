// SPDX-License-Identifier: MIT
#include "tdr/open.h"

#include "noThrow.h"

#include <algorithm>
#include <utility>

namespace tdr {

namespace {

/// Drivers that are started when they are asked.
class StartedDrivers : public DriverChoice {
  public:
    StartedDrivers(std::vector<std::filesystem::path> programs, const StartOptions& options)
        : options_(options) {
        for (std::filesystem::path& program : programs) {
            rows_.push_back({std::move(program), nullptr, {}, {}});
        }
    }

    [[nodiscard]] std::size_t size() const { return rows_.size(); }
    [[nodiscard]] std::string name(std::size_t driver) const override {
        return rows_[driver].program.filename().string();
    }
    [[nodiscard]] std::string ending(std::size_t driver) const override {
        return rows_[driver].ending;
    }

    Result<Session*> start(std::size_t driver) override {
        Row& row = rows_[driver];
        if (row.session) {
            return row.session.get();
        }
        if (!row.failure) {
            row.failure = startRow(row);
        }
        return row.failure ? Result<Session*>(*row.failure) : row.session.get();
    }

    /// The session of the driver that reads; the others get the end request together.
    std::unique_ptr<Session> choose(std::size_t driver) {
        auto chosen = std::move(rows_[driver].session);
        for (const Row& row : rows_) {
            if (row.session) {
                row.session->dismiss();
            }
        }
        return chosen;
    }

  private:
    struct Row {
        std::filesystem::path program;
        std::unique_ptr<Session> session;
        std::string ending;
        std::optional<Failure> failure; ///< of its start or first query; it is not started again
    };

    [[nodiscard]] std::optional<Failure> startRow(Row& row) const {
        auto started = Session::start(row.program, options_);
        if (!started) {
            return started.failure();
        }
        auto ending = endingOf(*started);
        if (!ending) {
            return ending.failure();
        }
        row.ending = std::move(*ending);
        row.session = std::make_unique<Session>(std::move(*started));
        return {};
    }

    StartOptions options_;
    std::vector<Row> rows_;
};

/// The failure, with the name of the file in front if it is not in it.
Failure about(const std::filesystem::path& path, Failure failure) {
    if (failure.text().find(path.native()) == std::string::npos) {
        failure.what = path.native() + ": " + failure.what;
    }
    return failure;
}

} // namespace

Result<OpenedPicture> open(const std::filesystem::path& path, const OpenOptions& options) {
    return withoutThrowing([&]() -> Result<OpenedPicture> {
        auto file = openReadable(path);
        if (!file) {
            return file.failure();
        }
        auto link = DriverLink::make(file->get(), path.native());
        if (!link) {
            return about(path, link.failure());
        }
        const auto folders = options.folders.empty() ? driverFolders() : options.folders;
        StartedDrivers drivers(findDrivers(folders), options.start);
        const auto order =
            readingOrder(path, drivers.size(), [&](std::size_t i) -> std::optional<std::string> {
                return drivers.start(i) ? std::optional(drivers.ending(i)) : std::nullopt;
            });
        auto found = findReader(drivers, order, *link);
        if (!found) {
            return about(path, found.failure());
        }
        return OpenedPicture(std::move(*file), std::move(*link), drivers.choose(found->driver),
                             std::move(found->source), options.keepDamaged);
    });
}

/// With the user's name of the file instead of the link's.
Failure OpenedPicture::named(Failure failure) const {
    failure.what = link_.names().in(failure.what);
    failure.lastLine = link_.names().in(failure.lastLine);
    return failure;
}

Result<Picture> OpenedPicture::read(std::size_t maxBytes) {
    return withoutThrowing([&]() -> Result<Picture> {
        if (!driver_->isConnected()) {
            return Failure{FailureKind::BadArgument, "read picture: it is already read and closed"};
        }
        auto picture = source_.readAndClose(maxBytes);
        if (!picture) {
            return named(picture.failure());
        }
        if (!keepDamaged_ && !driver_->damage().empty()) {
            return named({FailureKind::Damaged, driver_->damage()});
        }
        return picture;
    });
}

Result<RgbaPicture> OpenedPicture::readRgba(std::size_t maxBytes) {
    return withoutThrowing([&]() -> Result<RgbaPicture> {
        const auto picture = read(maxBytes);
        if (!picture) {
            return picture.failure();
        }
        RgbaPicture rgba{picture->width, picture->height, {}};
        rgba.pixels.resize(picture->pixels.size());
        const std::size_t line = lineBytes(picture->width);
        for (std::size_t at = 0; at < rgba.pixels.size(); at += kPixelBytes) {
            const std::size_t fromTop = rgba.pixels.size() - line - at / line * line + at % line;
            std::ranges::reverse_copy(std::span(picture->pixels).subspan(fromTop, kPixelBytes),
                                      &rgba.pixels[at]);
        }
        return rgba;
    });
}

} // namespace tdr
