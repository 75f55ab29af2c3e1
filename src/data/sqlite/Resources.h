#pragma once
// The files of db/sqlite (schema.sql, demo.sql, procedures/NAME.sql), compiled into the
// program at build time so that it runs from anywhere without the source tree.
#include <span>
#include <string_view>

namespace data::sqlite {

struct EmbeddedFile {
    std::string_view path;  // relative to db/sqlite, with "/" between folders
    std::string_view text;
};

std::span<const EmbeddedFile> embeddedFiles();

// The file of that relative path, or nullptr.
inline const EmbeddedFile* findEmbedded(std::string_view path) {
    for (const EmbeddedFile& f : embeddedFiles())
        if (f.path == path) return &f;
    return nullptr;
}

}  // namespace data::sqlite
