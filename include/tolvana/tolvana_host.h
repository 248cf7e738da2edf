/**
 * @file tolvana_host.h
 * @brief The C interface's set-up calls: configuration, a main queue the host runs, logs and changes to the host.
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

/** @name Setting up the host
 * Configuration by call, the main queue a host runs itself, and the host's own log and
 * change callbacks.
 * @{
 */

/**
 * Called once a main-queue task has been queued, while the host drives the main queue, so
 * that the host's loop wakes and calls tolvana_main_queue_drain(). Called on whatever thread
 * queued the task; it must return quickly and must not call this interface.
 */
typedef void (*tolvana_main_queue_wakeup)(void* user_data);

/**
 * What tolvana_configure() sets. Fill it with tolvana_options_init() first, then change the
 * fields that matter; the strings are borrowed for the call only.
 */
typedef struct tolvana_options {
  /** sizeof(tolvana_options) as the host was built; set by tolvana_options_init(). */
  size_t size;
  /** The app bundle. NULL: the directory TOLVANA_MAIN_BUNDLE names, else the program's directory. */
  const char* bundle_path;
  /** The directory the stores are kept below. NULL: XDG_DATA_HOME, else ~/.local/share. */
  const char* data_directory;
  /** The property-list file of the app's user defaults. NULL: $XDG_CONFIG_HOME/tolvana/<bundle identifier>.plist. */
  const char* defaults_file;
  /** The log threshold, a TOLVANA_LOG_ level; 6 or more silences the library. -1: the Info.plist's "TolvanaLogLevel". */
  int log_level;
  /** 0: the main queue runs on a thread of the library's own. 1: on the host's thread, in tolvana_main_queue_drain(). */
  int host_drives_main_queue;
  /** With host_drives_main_queue: told when a task was queued; NULL means none (the host drains on its own schedule). */
  tolvana_main_queue_wakeup main_queue_wakeup;
  /** Passed to main_queue_wakeup untouched. */
  void* main_queue_wakeup_data;
} tolvana_options;

/**
 * Fills options with the defaults: no path set, log_level -1, the library's own main queue.
 * @param options the options to fill; NULL is ignored.
 */
TOLVANA_EXPORT void tolvana_options_init(tolvana_options* options);

/**
 * Says where the app bundle is, where its data and defaults are kept, how much the library
 * logs and who runs the main queue, instead of the environment (which still gives what is
 * left unset). Only before the engine starts, that is before the first look-up, update or
 * other call that needs it. Call it once, early, from one thread.
 * @param options filled by tolvana_options_init() and then changed; NULL is refused.
 * @return 1 when applied; 0, with an error line, once the engine has started.
 */
TOLVANA_EXPORT int tolvana_configure(const tolvana_options* options);

/**
 * For a host that drives the main queue: runs the tasks that are due (update callbacks,
 * notices, user-interface work) on the calling thread, which from then on counts as the main
 * thread. A call from inside such a task runs nothing.
 * @return the milliseconds until the next queued task falls due, 0 when one is due now, or
 * -1 when none is queued (and always when the library runs its own main queue).
 */
TOLVANA_EXPORT int64_t tolvana_main_queue_drain(void);

/** Log levels, as a log callback gets them and as tolvana_options.log_level takes them. */
#define TOLVANA_LOG_VERBOSE 0
#define TOLVANA_LOG_DEBUG 1
#define TOLVANA_LOG_INFO 2
#define TOLVANA_LOG_WARNING 3
#define TOLVANA_LOG_ERROR 4
#define TOLVANA_LOG_ASSERT 5

/**
 * One line of the library's log. Called on the thread that logs, possibly while the library
 * holds a lock of its own: it must not wait for another thread that uses the library. A line
 * logged while it runs (it called this interface) goes to standard error instead.
 * @param level a TOLVANA_LOG_ level; only lines at or above the threshold arrive.
 * @param tag the library's tag ("Tolvana"), valid during the call.
 * @param message the line's text, without level and tag, valid during the call.
 * @param user_data the pointer given with the callback, untouched.
 */
typedef void (*tolvana_log_callback)(int level, const char* tag, const char* message, void* user_data);

/**
 * Takes the library's log lines instead of standard error. When this returns, the callback it
 * replaced is no longer running, so its user_data may be freed.
 * @param callback the host's logger; NULL goes back to standard error.
 * @param user_data passed to the callback untouched; it must stay valid while the callback is set.
 */
TOLVANA_EXPORT void tolvana_set_log_callback(tolvana_log_callback callback, void* user_data);

/** What an update wrote into one language's store: one group, newer than what the app had. */
typedef struct tolvana_group_change {
  const char* language;   /**< the store's language */
  const char* group;      /**< the group ("main") */
  int64_t version_before; /**< -1 when the store did not have the group */
  int64_t version_after;
  size_t entries_written;
} tolvana_group_change;

/**
 * Called exactly once when an update started with tolvana_update_with_changes() has ended, as
 * a tolvana_update_callback is (on the main queue, after the call, outside the library's locks).
 * @param success 1 when the server answered and its answer was taken, else 0.
 * @param groups each group the update wrote, in its language, valid during the call only;
 * NULL when it wrote nothing (nothing was newer, or it failed).
 * @param group_count the number of groups.
 * @param user_data the pointer given to tolvana_update_with_changes(), untouched.
 */
typedef void (*tolvana_update_changes_callback)(int success, const tolvana_group_change* groups, size_t group_count,
                                                void* user_data);

/**
 * tolvana_update(), telling the callback what the update wrote into the stores, so that a host
 * redraws, or says "new texts", only when something was written.
 * @param callback called exactly once; NULL runs the update without telling anyone.
 * @param user_data passed to the callback untouched.
 */
TOLVANA_EXPORT void tolvana_update_with_changes(tolvana_update_changes_callback callback, void* user_data);

/** Why texts changed, as a texts-changed callback gets it. */
#define TOLVANA_TEXTS_CHANGED_BY_UPDATE 0
#define TOLVANA_TEXTS_CHANGED_BY_LANGUAGE_SWITCH 1

/**
 * Shown texts may be out of date: redraw them. Called on the main queue, never while the
 * library holds its lock, so it may call this interface. Everything it is given is valid
 * during the call only.
 * @param cause TOLVANA_TEXTS_CHANGED_BY_UPDATE: an update wrote newer texts into the stores;
 * TOLVANA_TEXTS_CHANGED_BY_LANGUAGE_SWITCH: tolvana_set_language() switched the language
 * look-ups use first.
 * @param languages after an update, the languages it wrote into; after a switch, the languages
 * look-ups now try first (the long form, then the short one when it differs).
 * @param language_count the number of languages.
 * @param groups after an update, each group it wrote, in its language; NULL after a switch.
 * @param group_count the number of groups.
 * @param user_data the pointer given with the callback, untouched.
 */
typedef void (*tolvana_texts_changed_callback)(int cause, const char* const* languages, size_t language_count,
                                               const tolvana_group_change* groups, size_t group_count,
                                               void* user_data);

/**
 * Sets the callback for changed texts. When this returns, the callback it replaced is no
 * longer running (unless replaced from inside itself), so its user_data may be freed.
 * @param callback the host's callback; NULL removes it.
 * @param user_data passed to the callback untouched; it must stay valid while the callback is set.
 */
TOLVANA_EXPORT void tolvana_set_texts_changed_callback(tolvana_texts_changed_callback callback, void* user_data);
/** @} */

#ifdef __cplusplus
}
#endif
