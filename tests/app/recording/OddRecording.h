#pragma once

#include "app/recording/Recording.h"

#include <string>

namespace app_test {

/** @return a recording with every kind of item, text that is no UTF-8, and names that a ustar
 * archive cannot hold. */
app::Recording oddRecording();

/** @return a recording with a file, a tool and a document; all of it usual. */
app::Recording smallRecording();

app::RecordedFile regularFile(std::string const& path, std::string const& content);
app::RecordedFile recordedLink(std::string const& path, std::string const& target);
app::RecordedFile recordedFolder(std::string const& path);

/** Expects each field to be the same. */
void expectSame(app::Recording const& one, app::Recording const& other);

}
