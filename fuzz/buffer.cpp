#include <climits>
#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "driver/RunConfig.h"
#include "fuzz/Fuzz.h"
#include "lib/BufferFile.h"
#include "lib/Owners.h"

// Buffer files: a record written beside a file that is there, and read back. The first byte is the limit in
// megabytes; name and content of the file and the fields of the record have form feeds between.

namespace
{
constexpr char FOLDER[] = "../buffer/";
constexpr time_t NOW = 1116590400;

// The whole text of all files of the folder, which is empty then.
std::string fTakeAll()
{
    std::string all;
    const COwnedDir folder(opendir(FOLDER));
    while (const dirent* entry = readdir(folder.get())) {
        const std::string path = FOLDER + std::string(entry->d_name);
        const COwnedStream file(fopen(path.c_str(), "re"));
        for (int byte = 0; entry->d_name[0] != '.' && (byte = fgetc(file.get())) != EOF;)
            all.push_back(static_cast<char>(byte));
        unlink(path.c_str());
    }
    return all;
}

void fRecord(std::string_view input)
{
    if (input.empty()) return;
    g_nDataBufferSaveMaxSize = static_cast<unsigned char>(input[0]) % 4 - 1;
    input.remove_prefix(1);
    std::string name(CFuzzText(fgFuzzPart(input)).fView().substr(0, NAME_MAX / 2));
    for (char& byte : name)
        if (byte == '/') byte = '_';
    const std::string path = FOLDER + ("BUF" + name);
    fgFuzzWrite(path.c_str(), fgFuzzPart(input));
    const timespec times[] = {{NOW, 0}, {NOW, 0}};
    utimensat(AT_FDCWD, path.c_str(), times, 0);
    const CFuzzText first(fgFuzzPart(input));
    const CFuzzText second(input);
    fgFuzzMust(fgWriteBufferRecord(BUFFER_BUF, NOW, first, second) == 1, "a record is written");
    const std::string record = std::to_string(NOW) + "\x03\x1F^" + std::string(first.fView()) + "\x03\x1F^" +
                               std::string(second.fView()) + "\x03\x1F^\x03\x1F]\n";
    const size_t at = fTakeAll().find(record);
    fgFuzzMust(at != std::string::npos, "a record reads as it was written");
}

const CFuzzTarget TARGET("buffer", fRecord);
} // namespace
