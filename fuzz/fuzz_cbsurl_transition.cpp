// Any URL, and any redirect-service host, through the rewrite of standardCbsUrltransition: the first
// line of the input is the host the service now names, the rest the URL. A URL without the default
// host, or a service still on it, comes back unchanged; otherwise each occurrence is replaced, which
// the lengths show; the host is asked for at most once.
#include <RZCore/net/RZCbsUrl_p.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

void check(bool holds)
{
    if (!holds)
        std::abort();
}

// Occurrences that do not overlap, the ones a replacement sees ("go.example.orgo.example.org" holds two
// overlapping ones, and one is replaced).
int separateOccurrences(const QString& text, const QString& word)
{
    int count = 0;
    for (int at = text.indexOf(word); at >= 0; at = text.indexOf(word, at + word.size()))
        ++count;
    return count;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QString input = QString::fromUtf8(reinterpret_cast<const char*>(data), int(size));
    const int newline = input.indexOf(QLatin1Char('\n'));
    const QString domain = newline < 0 ? QString() : input.left(newline);
    const QString url = newline < 0 ? input : input.mid(newline + 1);
    const QString defaultHost = QStringLiteral("go.example.org");

    int asked = 0;
    const QString result = RZCbsUrl::standardize(url, defaultHost, [&] {
        ++asked;
        return domain;
    });
    const int occurrences = separateOccurrences(url, defaultHost);
    check(asked == (occurrences > 0 ? 1 : 0));
    if (occurrences == 0 || domain == defaultHost) {
        check(result == url);
    } else {
        check(result.size() == url.size() + occurrences * (domain.size() - defaultHost.size()));
        check(result.startsWith(url.left(url.indexOf(defaultHost))));
    }
    return 0;
}
