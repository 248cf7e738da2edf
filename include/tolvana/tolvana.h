/**
 * @file tolvana.h
 * @brief The library's C interface, for C hosts and for bindings from other languages.
 *
 * The same engine as the C++ facade (tolvana/Tolvana.h) answers, from the same shared
 * library. Nothing needs starting: the first call starts the engine, which reads the app's
 * Info.plist, unpacks the settings archive and answers look-ups from its local stores,
 * falling back to the bundle's own tables, the default text and finally the key.
 *
 * @code
 * #include <tolvana/tolvana.h>
 *
 * char* title = tolvana_localized_string("welcome.title");
 * puts(title);
 * tolvana_string_free(title);
 *
 * const char* names[] = {"count"};
 * const char* values[] = {"3"};
 * char* items = tolvana_localized_string_with_plural_rule(
 *     "cart.items", NULL, names, values, 1, tolvana_plural_rule_for_quantity(3));
 * tolvana_string_free(items);
 * @endcode
 *
 * Ownership: every string a function returns is owned by the caller, who frees it with
 * tolvana_string_free(). Functions return NULL only when memory runs out. String arguments
 * are borrowed: valid only during the call, never kept. Strings are UTF-8. Lists of language
 * codes come back as one string with the codes separated by commas.
 *
 * NULL arguments: a NULL pointer never crashes. Each function says what it does with one;
 * where a string is required, NULL is logged as an error and the call gives its neutral
 * result.
 *
 * Threads: every function may be called from any thread, concurrently. Update callbacks are
 * called exactly once, on the main queue (a thread of the library's own when no toolkit drives
 * one): never inside the call that asked for them, and never while the library holds a lock
 * of its own, so a callback may call this interface again. An update that cannot end as
 * usual (the engine is off, an answer it cannot read, a failure inside) calls back as well,
 * with success 0.
 *
 * Errors: no C++ exception leaves this interface; a failure inside is logged and the call
 * gives its neutral result.
 *
 * Booleans are int: 0 is false, any other value true; results are 0 or 1.
 */
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "tolvana/Export.h"
#include "tolvana/Version.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Called exactly once when an update has ended, on the main queue, after the update function
 * that asked for it has returned.
 * @param success 1 when the server answered and its answer was taken, else 0.
 * @param user_data the pointer given to the update function, untouched.
 */
typedef void (*tolvana_update_callback)(int success, void* user_data);

/**
 * Frees a string returned by this interface. NULL is ignored.
 * @param string a string this interface returned; invalid after the call.
 */
TOLVANA_EXPORT void tolvana_string_free(char* string);

/**
 * The text for the key in the current language; the key when nothing has one.
 * @param key the key; NULL gives an empty string.
 * @return a new string, owned by the caller.
 */
TOLVANA_EXPORT char* tolvana_localized_string(const char* key);

/**
 * The text for the key, with the default text shown (and reported as missing) when the
 * stores lack it.
 * @param key the key; NULL gives an empty string.
 * @param default_value the default text; NULL means none.
 * @return a new string, owned by the caller.
 */
TOLVANA_EXPORT char* tolvana_localized_string_with_default(const char* key, const char* default_value);

/**
 * The text for the key with its placeholders (%{name}) replaced.
 * @param key the key; NULL gives an empty string.
 * @param default_value the default text; NULL means none.
 * @param names placeholder names, count of them; NULL means no arguments.
 * @param values replacement texts, in the order of names; NULL means no arguments.
 * @param count the number of names and of values. A pair with a NULL name or value is skipped.
 * @return a new string, owned by the caller.
 */
TOLVANA_EXPORT char* tolvana_localized_string_with_arguments(const char* key, const char* default_value,
                                                             const char* const* names, const char* const* values,
                                                             size_t count);

/**
 * The plural form of the rule ("key[one]") with its placeholders replaced.
 * @param key the key; NULL gives an empty string.
 * @param default_value the default text; NULL means none.
 * @param names placeholder names; NULL means no arguments.
 * @param values replacement texts; NULL means no arguments.
 * @param count the number of names and of values. A pair with a NULL name or value is skipped.
 * @param plural_rule 0 zero, 1 one, 2 two, 3 few, 4 many, 5 other.
 * @return a new string, owned by the caller.
 */
TOLVANA_EXPORT char* tolvana_localized_string_with_plural_rule(const char* key, const char* default_value,
                                                               const char* const* names, const char* const* values,
                                                               size_t count, int64_t plural_rule);

/**
 * The plural rule of a quantity in the current device language.
 * @param quantity the quantity.
 * @return 0 zero, 1 one, 2 two, 3 few, 4 many or 5 other; -1 on an internal failure.
 */
TOLVANA_EXPORT int64_t tolvana_plural_rule_for_quantity(uint64_t quantity);

/**
 * Forces the app language; persisted in the app's user defaults.
 * @param language a language code ("pt_br", "de"); NULL returns to the device's languages.
 * @return 1 when the language was set, 0 when the project does not offer it.
 */
TOLVANA_EXPORT int tolvana_set_language(const char* language);

/**
 * The device language look-ups try first, in its long form ("de-AT"); an app language set
 * with tolvana_set_language() takes its place.
 * @return a new string, owned by the caller.
 */
TOLVANA_EXPORT char* tolvana_device_language(void);

/**
 * The languages the app has translation stores for.
 * @return a new string of codes separated by commas ("de,en,fr"), empty when the app is
 * not initialised; owned by the caller.
 */
TOLVANA_EXPORT char* tolvana_available_languages(void);

/**
 * Asks the translation server for what is new in the default groups and languages (and
 * uploads the strings collected as missing). Returns at once.
 * @param callback called exactly once, on the main queue, after this function has returned;
 * NULL means none.
 * @param user_data passed to the callback untouched; may be NULL. It must stay valid until
 * the callback has run.
 */
TOLVANA_EXPORT void tolvana_update(tolvana_update_callback callback, void* user_data);

/**
 * The same as tolvana_update() for the given groups and languages.
 * @param groups group names, group_count of them; NULL or a count of 0 means the defaults.
 * @param group_count the number of groups.
 * @param languages language codes; NULL or a count of 0 means the defaults.
 * @param language_count the number of languages. NULL entries are skipped.
 * @param callback called exactly once, on the main queue, after this function has returned;
 * NULL means none.
 * @param user_data passed to the callback untouched; may be NULL. It must stay valid until
 * the callback has run.
 */
TOLVANA_EXPORT void tolvana_update_groups(const char* const* groups, size_t group_count,
                                          const char* const* languages, size_t language_count,
                                          tolvana_update_callback callback, void* user_data);

/**
 * Allows or forbids draft mode for the app (allowed unless the app says otherwise).
 * @param enabled 0 forbids, anything else allows.
 */
TOLVANA_EXPORT void tolvana_set_draft_mode_enabled(int enabled);

/**
 * Whether the app allows draft mode.
 * @return 1 or 0.
 */
TOLVANA_EXPORT int tolvana_draft_mode_enabled(void);

/**
 * Whether the engine is in draft mode now (drafts shown instead of published texts).
 * @return 1 or 0.
 */
TOLVANA_EXPORT int tolvana_in_draft_mode(void);

/**
 * Shows keys instead of texts until switched off or the process ends.
 * @param enabled 0 switches off, anything else on.
 */
TOLVANA_EXPORT void tolvana_set_show_id_mode_enabled(int enabled);

/**
 * Whether keys are shown instead of texts.
 * @return 1 or 0.
 */
TOLVANA_EXPORT int tolvana_show_id_mode_enabled(void);

/**
 * The library's version, "2.0.149"; needs no running engine.
 * @return a new string, owned by the caller. It equals TOLVANA_VERSION_STRING of the
 * headers the library was built with.
 */
TOLVANA_EXPORT char* tolvana_sdk_version(void);

#ifdef __cplusplus
}
#endif
