/**
 * @file tolvana_review.h
 * @brief The C interface's review tools: screenshots, the draft-mode dialog, the overlay.
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

/** @name Review tools
 * Screenshots for translators, the draft-mode dialog and the review tools' overlay.
 * @{
 */

/**
 * Called exactly once when a screenshot's upload has ended, on the main queue, after the
 * function that asked for it has returned.
 * @param success 1 when the server has the screenshot, else 0.
 * @param user_data the pointer given with the callback, untouched.
 */
typedef void (*tolvana_screenshot_callback)(int success, void* user_data);

/**
 * Captures the app's window in draft mode and uploads it under the screen tag, with the
 * positions of the strings on it and of the listed keys. Returns at once: the capture runs on
 * the main queue. Outside draft mode it is refused (logged), and the callback gets 0.
 * @param tag the screen tag; NULL or empty is refused, the callback getting 0.
 * @param keys further keys to report, key_count of them; NULL means none. NULL entries are skipped.
 * @param key_count the number of keys.
 * @param use_ocr nonzero asks the server to read the texts off the picture too.
 * @param callback called exactly once, on the main queue, after this function has returned;
 * NULL means none.
 * @param user_data passed to the callback untouched; it must stay valid until the callback has run.
 */
TOLVANA_EXPORT void tolvana_capture_screenshot(const char* tag, const char* const* keys, size_t key_count,
                                               int use_ocr, tolvana_screenshot_callback callback, void* user_data);

/**
 * Asks for the draft-mode key, as the long two-finger press does; nothing when the app or the
 * project does not allow draft mode. Returns at once: the dialog is shown from the main queue.
 */
TOLVANA_EXPORT void tolvana_show_draft_mode_dialog(void);

/**
 * Shows or hides the review tools' overlay.
 * @param visible 0 hides, anything else shows.
 * @return 1 when done; 0 (and nothing changes) outside draft mode and while UI tests run.
 */
TOLVANA_EXPORT int tolvana_set_screenshot_menu_visible(int visible);

/** The answer a screenshot provider owes: given to it, and sent back once with tolvana_positions_reply_send(). */
typedef struct tolvana_positions_reply tolvana_positions_reply;

/**
 * A host that draws its own texts (a game engine, a canvas) names where its strings are on
 * screen. Called on the main queue when a screenshot is captured.
 * @param reply to be answered exactly once, from any thread, now or later, with
 * tolvana_positions_reply_send(); the screenshot waits for it.
 * @param user_data the pointer given to tolvana_set_screenshot_interface(), untouched.
 */
typedef void (*tolvana_string_positions_provider)(tolvana_positions_reply* reply, void* user_data);

/**
 * Answers a provider's reply and frees it.
 * @param reply the reply the provider was given; invalid after the call. NULL is logged and ignored.
 * @param positions the positions as JSON: {"TLStringPositions": [{"key", "value", "x", "y",
 * "width", "height"}, ...]}; NULL means none.
 */
TOLVANA_EXPORT void tolvana_positions_reply_send(tolvana_positions_reply* reply, const char* positions);

/**
 * Sets the provider of string positions for screenshots, in place of the one before. It is
 * kept until another is set or the engine is reset (tolvana_reset()).
 * @param provider the provider; NULL is refused with an error line, and the current one stays.
 * @param user_data passed to the provider untouched; it must stay valid while the provider is set.
 */
TOLVANA_EXPORT void tolvana_set_screenshot_interface(tolvana_string_positions_provider provider, void* user_data);
/** @} */

#ifdef __cplusplus
}
#endif
