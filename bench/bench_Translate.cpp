// Message look-up against the C library's gettext on one catalogue of a few thousand messages:
// hits, misses and plural messages. Both read the same .mo file, compiled by msgfmt when the
// program starts; the C library's side runs in the "C.UTF-8" locale with "LANGUAGE" naming the
// catalogue's language, as a translated program would.
#include "bench_Size.h"
#include "utl_tr.h"

#include <benchmark/benchmark.h>

#include <libintl.h>
#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr char domain[] = "bench";

// Texts of a few lengths, as a solver's messages run.
std::string Message(std::size_t i, const char* kind) {
    static const char* const tails[] = {"", " in the model", " while the solver reads its input",
                                        " after the last step of the non-linear iteration"};
    return kind + std::string(" ") + std::to_string(i) + tails[i % 4];
}

// Writes and compiles the catalogue, points both libraries at it, and keeps the messages.
class Catalogue {
public:
    Catalogue()
        : directory(fs::temp_directory_path() / ("bench_Translate_" + std::to_string(getpid()))) {
        const std::size_t count = vlt::bench::Size(4000);
        for (std::size_t i = 0; i < count; ++i) {
            hits.push_back(Message(i, "Message"));
            misses.push_back(Message(i, "Missing message"));
            singulars.push_back(Message(i, "%d item of list"));
        }
        Compile();
        setenv("KES_LOCALE_DIR", directory.c_str(), 1);
        setenv("LANGUAGE", "de", 1);
        utl_trSetDomain(domain);
        std::setlocale(LC_ALL, "C.UTF-8");
        bindtextdomain(domain, directory.c_str());
        Check();
    }
    ~Catalogue() {
        utl_trReleaseDB();
        fs::remove_all(directory);
    }
    Catalogue(const Catalogue&) = delete;
    Catalogue& operator=(const Catalogue&) = delete;

    std::vector<std::string> hits;
    std::vector<std::string> misses;
    std::vector<std::string> singulars;

private:
    void Compile() {
        const fs::path folder = directory / "de" / "LC_MESSAGES";
        fs::create_directories(folder);
        const fs::path po = directory / "bench.po";
        std::ofstream out(po);
        out << "msgid \"\"\nmsgstr \"\"\n\"Content-Type: text/plain; charset=UTF-8\\n\"\n"
               "\"Plural-Forms: nplurals=3; plural=(n==1 ? 0 : n%10>=2 && n%10<=4 && "
               "(n%100<10 || n%100>=20) ? 1 : 2);\\n\"\n";
        for (std::size_t i = 0; i < hits.size(); ++i) {
            out << "\nmsgid \"" << hits[i] << "\"\nmsgstr \"Meldung " << hits[i] << "\"\n";
            out << "\nmsgid \"" << singulars[i] << "\"\nmsgid_plural \"plural " << i
                << "\"\nmsgstr[0] \"eins " << i << "\"\nmsgstr[1] \"wenige " << i
                << "\"\nmsgstr[2] \"viele " << i << "\"\n";
        }
        out.close();
        const std::string command =
            "msgfmt -o '" + (folder / "bench.mo").string() + "' '" + po.string() + "'";
        if (std::system(command.c_str()) != 0) {
            std::fprintf(stderr, "msgfmt failed: %s\n", command.c_str());
            std::exit(1);
        }
    }

    // Both must find the catalogue, or the comparison times two different jobs.
    void Check() const {
        const char* ours = utl_tr(hits.back().c_str());
        const char* theirs = dgettext(domain, hits.back().c_str());
        if (std::strcmp(ours, theirs) != 0 || std::strncmp(ours, "Meldung", 7) != 0 ||
            std::strcmp(utl_trPlural(singulars[0].c_str(), "p", 3),
                        dngettext(domain, singulars[0].c_str(), "p", 3)) != 0) {
            std::fprintf(stderr, "the two libraries disagree: %s / %s\n", ours, theirs);
            std::exit(1);
        }
    }

    fs::path directory;
};

Catalogue& Shared() {
    static Catalogue catalogue;
    return catalogue;
}

template <class Lookup>
void Run(benchmark::State& state, const std::vector<std::string>& keys, Lookup lookup) {
    for (auto _ : state) {
        for (const std::string& key : keys) {
            benchmark::DoNotOptimize(lookup(key.c_str()));
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(keys.size()));
}

void BM_Hit_utl_tr(benchmark::State& state) {
    Run(state, Shared().hits, [](const char* text) { return utl_tr(text); });
}

void BM_Hit_dgettext(benchmark::State& state) {
    Run(state, Shared().hits, [](const char* text) { return dgettext(domain, text); });
}

void BM_Miss_utl_tr(benchmark::State& state) {
    Run(state, Shared().misses, [](const char* text) { return utl_tr(text); });
}

void BM_Miss_dgettext(benchmark::State& state) {
    Run(state, Shared().misses, [](const char* text) { return dgettext(domain, text); });
}

void BM_Plural_utl_trPlural(benchmark::State& state) {
    Run(state, Shared().singulars, [](const char* text) { return utl_trPlural(text, "p", 23); });
}

void BM_Plural_dngettext(benchmark::State& state) {
    Run(state, Shared().singulars,
        [](const char* text) { return dngettext(domain, text, "p", 23); });
}

// A named domain: what a library pays to keep its own dictionary.
void BM_Hit_utl_trDomain(benchmark::State& state) {
    Run(state, Shared().hits,
        [](const char* text) { return utl_trDomain(domain, {.text = text}); });
}

BENCHMARK(BM_Hit_utl_tr);
BENCHMARK(BM_Hit_dgettext);
BENCHMARK(BM_Hit_utl_trDomain);
BENCHMARK(BM_Miss_utl_tr);
BENCHMARK(BM_Miss_dgettext);
BENCHMARK(BM_Plural_utl_trPlural);
BENCHMARK(BM_Plural_dngettext);

} // namespace
