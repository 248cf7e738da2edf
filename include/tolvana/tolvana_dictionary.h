/**
 * @file tolvana_dictionary.h
 * @brief The C interface's bulk look-ups and the dictionaries they answer.
 *
 * Included by tolvana/tolvana.h, whose rules (ownership, NULL arguments, threads, errors)
 * hold here too.
 */
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "tolvana/Export.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @name Dictionaries
 * The bulk look-ups answer a dictionary: an opaque handle the caller owns and frees with
 * tolvana_dictionary_free(), with its entries sorted by key. The strings and inner
 * dictionaries it hands out belong to it and stay valid until it is freed, so a binding reads
 * each straight out of it, without a copy of its own. Any thread may read one dictionary
 * concurrently.
 * @{
 */

/** A dictionary of key to text; for tolvana_localize_map(), of language to such a dictionary. */
typedef struct tolvana_dictionary tolvana_dictionary;

/**
 * The number of entries.
 * @param dictionary a dictionary; NULL has 0.
 */
TOLVANA_EXPORT size_t tolvana_dictionary_count(const tolvana_dictionary* dictionary);

/**
 * The key of an entry.
 * @return the dictionary's string, or NULL when dictionary is NULL or index is not below the count.
 */
TOLVANA_EXPORT const char* tolvana_dictionary_key_at(const tolvana_dictionary* dictionary, size_t index);

/**
 * The text of an entry.
 * @return the dictionary's string; NULL for an entry that holds a dictionary, or as for
 * tolvana_dictionary_key_at().
 */
TOLVANA_EXPORT const char* tolvana_dictionary_value_at(const tolvana_dictionary* dictionary, size_t index);

/**
 * The inner dictionary of an entry of tolvana_localize_map()'s answer.
 * @return the dictionary's own inner dictionary (not to be freed), or NULL for an entry that
 * holds a text, or as for tolvana_dictionary_key_at().
 */
TOLVANA_EXPORT const tolvana_dictionary* tolvana_dictionary_dictionary_at(const tolvana_dictionary* dictionary,
                                                                          size_t index);

/**
 * The text for a key.
 * @return the dictionary's string, or NULL when the key is absent, holds a dictionary, or
 * either argument is NULL.
 */
TOLVANA_EXPORT const char* tolvana_dictionary_get(const tolvana_dictionary* dictionary, const char* key);

/**
 * Frees a dictionary this interface returned, with all its strings. NULL is ignored.
 */
TOLVANA_EXPORT void tolvana_dictionary_free(tolvana_dictionary* dictionary);

/**
 * Every key of the language's store with its text (the draft where draft mode shows drafts).
 * @param language a language code; NULL gives an empty dictionary.
 * @return a new dictionary, owned by the caller; empty when the store has no such language.
 */
TOLVANA_EXPORT tolvana_dictionary* tolvana_localized_strings_for_language(const char* language);

/**
 * The tables of the base, the short and the long device language merged; the long one wins.
 * @return a new dictionary, owned by the caller.
 */
TOLVANA_EXPORT tolvana_dictionary* tolvana_localized_strings_for_current_language(void);

/**
 * Texts for many keys in given languages, without fall-backs to other languages. The request
 * is given as rows: row i asks for keys[i] in languages[i] with default_values[i] as its
 * default text. A key the language lacks gets its default text (and is reported as missing
 * where misses are collected); a key with neither is left out.
 * @param languages language codes, count of them; a row with a NULL language or key is skipped.
 * @param keys keys, in the order of languages.
 * @param default_values default texts, in the same order; NULL, or a NULL entry, means none.
 * @param count the number of rows. NULL languages or keys give an empty dictionary.
 * @return a new dictionary of language to a dictionary of key to text, owned by the caller;
 * every language asked for is present, possibly with an empty dictionary.
 */
TOLVANA_EXPORT tolvana_dictionary* tolvana_localize_map(const char* const* languages, const char* const* keys,
                                                        const char* const* default_values, size_t count);
/** @} */

#ifdef __cplusplus
}
#endif
