// Loader variables kept between runs; see loadermemory.h.
#include "core/loadermemory.h"

#include <sstream>

const std::string *LoaderMemory::find(const std::string &id) const
{
    const auto it = values.find(id);
    return it == values.end() ? nullptr : &it->second;
}

std::string LoaderMemory::to_text() const
{
    std::string text;
    for (const auto &[id, value] : values)
        text += id + ": " + value + "\n";
    return text;
}

LoaderMemory LoaderMemory::from_text(const std::string &text)
{
    LoaderMemory memory;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        const std::size_t colon = line.find(": ");
        if (colon == std::string::npos || colon == 0 || line.find(' ') < colon)
            continue;
        memory.values[line.substr(0, colon)] = line.substr(colon + 2);
    }
    return memory;
}
