// Message translation: the text a person reads, in the language of the process's locale.
//
// Dictionaries are GNU gettext message catalogues (".mo" files, compiled by `msgfmt` from the
// translators' ".po" files), one per text domain and locale, found as
// `$KES_LOCALE_DIR/<locale>/LC_MESSAGES/<domain>.mo`. The locale comes from the first of
// "LANGUAGE", "LC_ALL", "LC_MESSAGES" and "LANG" that is set and not empty; "LANGUAGE" may name
// several, separated by ':', searched in that order. Each name is tried from the most to the least
// specific: "de_AT.UTF-8@euro", "de_AT@euro", "de@euro", "de_AT.UTF-8", "de_AT", "de". A message
// missing from one dictionary is looked up in the next. A name "C" or "POSIX" ends the search:
// those locales translate nothing. On Windows, when none of the variables is set, the user's
// default locale ("de-AT" read as "de_AT") is used.
//
// Every function answers the translation, or the text it was given (the very pointer) when
// there is none: no catalogue directory, no dictionary, no entry, an empty or null text, or a
// dictionary
// file that is truncated or corrupt (such a file is ignored as a whole, as if it were absent).
// Plural forms follow the dictionary's own rule (its "Plural-Forms:" header, a C expression in
// n); a dictionary without a usable rule takes the English one, n != 1. Untranslated, a plural
// message answers `singular` for n == 1 and `plural` otherwise.
//
// Ownership: the library owns the dictionaries. A domain's dictionaries are read once, on its
// first translation, with the environment as it is then; they stay until `utl_trReleaseDB`
// (which `utl_finalize` calls), and every translated text stays valid until then. A
// translation allocates nothing once its domain is loaded. The default domain, once set, stays
// set across `utl_trReleaseDB`.
//
// Threads: translating is safe from any number of threads at once. A domain is loaded under the
// translation's own lock; loaded dictionaries are only read. `utl_trReleaseDB` is not: call it
// when no other thread translates or holds a translated text.
#pragma once

#include "vlt_Export.h"

// The domain that `utl_tr`, `utl_trPlural` and `utl_trContext` translate in (usually the
// program's name, set once at start). Until a client sets one, they translate nothing.
VLTUTL_API void utl_trSetDomain(const char* domain);

VLTUTL_API const char* utl_tr(const char* text);
// The form of the message for the count n.
VLTUTL_API const char* utl_trPlural(const char* singular, const char* plural, unsigned long n);
// A message under a context ("msgctxt"), for a text that translates differently in two places.
VLTUTL_API const char* utl_trContext(const char* context, const char* text);

// Every form at once. Leave `context` null for none and `plural` null for a message without
// plural forms (n is then ignored).
struct utl_trMessage {
    const char* context = nullptr;
    const char* text = nullptr;
    const char* plural = nullptr;
    unsigned long n = 1;
};

// The message in a named domain (null: the default one), for a library that keeps its own
// dictionary beside its client's: utl_trDomain("viewer", {.context = "menu", .text = "Open"}).
VLTUTL_API const char* utl_trDomain(const char* domain, const utl_trMessage& message);

// Frees every dictionary; the next translation reads them again, with the environment as it is
// then. Every text a translation answered becomes invalid.
VLTUTL_API void utl_trReleaseDB();
