/* Every function of the C interface against the demo app, run by tests/with-demo-app: the
 * shipped archive first, then the server's texts after an update. Built as strict C11, so
 * the header stays C. The app is configured by call, with the environment's bundle and data
 * variables removed first; with the argument "host-queue" this program runs the library's
 * main queue itself. Exit status 0 when every check held. */
#define _POSIX_C_SOURCE 200809L

#include <pthread.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <tolvana/tolvana.h>

static int failures = 0;
static int host_queue = 0;
static pthread_t main_thread;
static atomic_int wakeups;

#define CHECK(condition)                                                      \
  do {                                                                        \
    if (!(condition)) {                                                       \
      fprintf(stderr, "%s:%d: failed: %s\n", __FILE__, __LINE__, #condition); \
      ++failures;                                                             \
    }                                                                         \
  } while (0)

/* Compares a returned string and frees it. */
static void expect_text(char* actual, const char* expected, int line) {
  if (!actual || strcmp(actual, expected) != 0) {
    fprintf(stderr, "%s:%d: got \"%s\", expected \"%s\"\n", __FILE__, line, actual ? actual : "(null)", expected);
    ++failures;
  }
  tolvana_string_free(actual);
}
#define EXPECT_TEXT(actual, expected) expect_text((actual), (expected), __LINE__)

/* One callback's record: how often it ran, with what, and where. Kept static by the callers:
 * the library may still call back after a wait gave up and the caller returned. */
struct call_record {
  atomic_int calls;
  atomic_int success;
  atomic_int on_main_queue;
  pthread_t caller;
  atomic_int in_call;    /* set by the caller around the call */
  atomic_int too_early;  /* the callback ran inside the call */
};

static void reset_record(struct call_record* record) {
  atomic_store(&record->calls, 0);
  atomic_store(&record->success, -1);
  atomic_store(&record->on_main_queue, 0);
  atomic_store(&record->too_early, 0);
  record->caller = pthread_self();
}

static void on_done(int success, void* user_data) {
  struct call_record* record = user_data;
  atomic_store(&record->success, success);
  /* On another thread it cannot be inside the call; on the caller's, the flag says it. */
  atomic_store(&record->too_early,
               pthread_equal(pthread_self(), record->caller) != 0 && atomic_load(&record->in_call) != 0);
  /* The host's own loop is the main queue when it drives it; else a thread of the library's. */
  atomic_store(&record->on_main_queue, host_queue ? pthread_equal(pthread_self(), main_thread) != 0
                                                  : pthread_equal(pthread_self(), main_thread) == 0);
  atomic_fetch_add(&record->calls, 1);
}

/* One turn of the main queue when this program drives it, and a short wait. */
static void tick(void) {
  struct timespec pause = {0, 20 * 1000 * 1000};
  if (host_queue) tolvana_main_queue_drain();
  nanosleep(&pause, NULL);
}

/* Waits up to 30 s for the counter to move, then a little longer, so that a second call
 * would show. */
static int wait_for(atomic_int* counter) {
  for (int i = 0; i < 1500 && atomic_load(counter) == 0; ++i) tick();
  for (int i = 0; i < 10; ++i) tick();
  return atomic_load(counter);
}

static void expect_once(struct call_record* record, int success, int line) {
  int calls = wait_for(&record->calls);
  if (calls != 1 || atomic_load(&record->success) != success || !atomic_load(&record->on_main_queue) ||
      atomic_load(&record->too_early)) {
    fprintf(stderr, "%s:%d: %d calls, success %d, on the main queue %d, inside the call %d\n", __FILE__, line, calls,
            atomic_load(&record->success), atomic_load(&record->on_main_queue), atomic_load(&record->too_early));
    ++failures;
  }
}
#define EXPECT_ONCE(record, success) expect_once((record), (success), __LINE__)
#define CALL(record, call)                 \
  do {                                     \
    atomic_store(&(record)->in_call, 1);   \
    call;                                  \
    atomic_store(&(record)->in_call, 0);   \
  } while (0)

/* The host's log: the last line that arrived. */
static struct {
  atomic_int lines;
  int level;
  char tag[32];
  char message[256];
} logged;

static void on_log(int level, const char* tag, const char* message, void* user_data) {
  (void)user_data;
  logged.level = level;
  snprintf(logged.tag, sizeof logged.tag, "%s", tag);
  snprintf(logged.message, sizeof logged.message, "%s", message);
  atomic_fetch_add(&logged.lines, 1);
}

/* The last texts-changed notice. */
/* What a report of written groups said of the group "main" in "de": before, after, entries;
 * -2 each when it did not name it. */
struct main_de {
  int before, after, entries;
};

static struct main_de main_de_of(const tolvana_group_change* groups, size_t group_count) {
  struct main_de found = {-2, -2, -2};
  for (size_t i = 0; i < group_count; ++i) {
    if (strcmp(groups[i].language, "de") == 0 && strcmp(groups[i].group, "main") == 0) {
      found = (struct main_de){(int)groups[i].version_before, (int)groups[i].version_after,
                               (int)groups[i].entries_written};
    }
  }
  return found;
}

static struct {
  atomic_int calls;
  int cause;
  char languages[64];
  struct main_de main_de;
} changed;

static void on_texts_changed(int cause, const char* const* languages, size_t language_count,
                             const tolvana_group_change* groups, size_t group_count, void* user_data) {
  (void)user_data;
  changed.cause = cause;
  changed.languages[0] = '\0';
  for (size_t i = 0; i < language_count; ++i) {
    size_t used = strlen(changed.languages);
    snprintf(changed.languages + used, sizeof changed.languages - used, "%s%s", i ? "," : "", languages[i]);
  }
  changed.main_de = main_de_of(groups, group_count);
  atomic_fetch_add(&changed.calls, 1);
}

/* The last tolvana_update_with_changes() report: how many groups, and "main" in "de". */
static struct {
  size_t groups;
  struct main_de main_de;
} reported;

static void on_done_with_changes(int success, const tolvana_group_change* groups, size_t group_count,
                                 void* user_data) {
  reported.groups = group_count;
  reported.main_de = main_de_of(groups, group_count);
  on_done(success, user_data);
}

static void on_wakeup(void* user_data) {
  (void)user_data;
  atomic_fetch_add(&wakeups, 1);
}

/* The app's bundle and data by call: the variables with-demo-app set are taken away first. */
static void configure(void) {
  static char bundle[4096], data[4096], defaults[4096];
  snprintf(bundle, sizeof bundle, "%s", getenv("TOLVANA_MAIN_BUNDLE"));
  snprintf(data, sizeof data, "%s", getenv("XDG_DATA_HOME"));
  snprintf(defaults, sizeof defaults, "%s/demo-defaults.plist", getenv("XDG_CONFIG_HOME"));
  unsetenv("TOLVANA_MAIN_BUNDLE");
  unsetenv("XDG_DATA_HOME");
  unsetenv("XDG_CONFIG_HOME");

  tolvana_options options;
  tolvana_options_init(&options);
  options.bundle_path = bundle;
  options.data_directory = data;
  options.defaults_file = defaults;
  options.log_level = TOLVANA_LOG_ERROR;
  options.host_drives_main_queue = host_queue;
  options.main_queue_wakeup = on_wakeup;
  CHECK(tolvana_configure(NULL) == 0);
  CHECK(tolvana_configure(&options) == 1);
  tolvana_set_log_callback(on_log, NULL);
  tolvana_set_texts_changed_callback(on_texts_changed, NULL);
}

static void shipped_archive(void) {
  const char* names[] = {"count", NULL, "name"};
  const char* values[] = {"1", "ignored", "Ada"};

  EXPECT_TEXT(tolvana_sdk_version(), TOLVANA_VERSION_STRING);
  EXPECT_TEXT(tolvana_localized_string("welcome.title"), "Willkommen");
  EXPECT_TEXT(tolvana_localized_string("settings.title"), "Einstellungen");
  EXPECT_TEXT(tolvana_localized_string("no.such.key"), "no.such.key");
  EXPECT_TEXT(tolvana_localized_string_with_default("no.such.key", "Fallback"), "Fallback");
  EXPECT_TEXT(tolvana_localized_string_with_default("welcome.title", NULL), "Willkommen");
  EXPECT_TEXT(tolvana_localized_string_with_arguments("welcome.greeting", "Hallo, %{name}!", names, values, 3),
              "Hallo, Ada!");
  CHECK(tolvana_plural_rule_for_quantity(1) == 1);
  CHECK(tolvana_plural_rule_for_quantity(7) == 5);
  EXPECT_TEXT(tolvana_localized_string_with_plural_rule("cart.items", NULL, names, values, 1,
                                                        tolvana_plural_rule_for_quantity(1)),
              "1 Artikel im Warenkorb");
  EXPECT_TEXT(tolvana_available_languages(), "de,en,fr");
  CHECK(tolvana_configure(&(tolvana_options){.size = sizeof(tolvana_options)}) == 0);

  char* device = tolvana_device_language();
  CHECK(device && strncmp(device, "de", 2) == 0);
  tolvana_string_free(device);
}

static void dictionaries(void) {
  tolvana_dictionary* german = tolvana_localized_strings_for_language("de");
  CHECK(tolvana_dictionary_count(german) == 3);
  CHECK(strcmp(tolvana_dictionary_key_at(german, 0), "cart.items[one]") == 0);
  CHECK(strcmp(tolvana_dictionary_get(german, "welcome.title"), "Willkommen") == 0);
  CHECK(tolvana_dictionary_get(german, "no.such.key") == NULL);
  CHECK(tolvana_dictionary_key_at(german, 3) == NULL && tolvana_dictionary_dictionary_at(german, 0) == NULL);
  tolvana_dictionary_free(german);

  tolvana_dictionary* current = tolvana_localized_strings_for_current_language();
  CHECK(strcmp(tolvana_dictionary_get(current, "welcome.title"), "Willkommen") == 0);
  tolvana_dictionary_free(current);

  const char* languages[] = {"fr", "de", "de", NULL};
  const char* keys[] = {"welcome.title", "welcome.title", "no.such.key", "x"};
  const char* defaults[] = {NULL, NULL, "Vorgabe", "y"};
  tolvana_dictionary* map = tolvana_localize_map(languages, keys, defaults, 4);
  CHECK(tolvana_dictionary_count(map) == 2 && strcmp(tolvana_dictionary_key_at(map, 0), "de") == 0);
  CHECK(tolvana_dictionary_value_at(map, 0) == NULL);
  const tolvana_dictionary* de = tolvana_dictionary_dictionary_at(map, 0);
  CHECK(strcmp(tolvana_dictionary_get(de, "welcome.title"), "Willkommen") == 0);
  CHECK(strcmp(tolvana_dictionary_get(de, "no.such.key"), "Vorgabe") == 0);
  CHECK(strcmp(tolvana_dictionary_get(tolvana_dictionary_dictionary_at(map, 1), "welcome.title"), "Bienvenue") == 0);
  tolvana_dictionary_free(map);

  CHECK(tolvana_dictionary_count(NULL) == 0 && tolvana_dictionary_get(NULL, "x") == NULL);
  tolvana_dictionary* none = tolvana_localized_strings_for_language(NULL);
  CHECK(none && tolvana_dictionary_count(none) == 0);
  tolvana_dictionary_free(none);
  tolvana_dictionary_free(NULL);
}

static void null_arguments_and_the_log(void) {
  const char* names[] = {"name"};
  EXPECT_TEXT(tolvana_localized_string(NULL), "");
  CHECK(atomic_load(&logged.lines) > 0 && logged.level == TOLVANA_LOG_ERROR);
  CHECK(strcmp(logged.tag, "Tolvana") == 0 && strcmp(logged.message, "tolvana_localized_string: the key is NULL") == 0);
  EXPECT_TEXT(tolvana_localized_string_with_default(NULL, "x"), "");
  EXPECT_TEXT(tolvana_localized_string_with_arguments(NULL, NULL, NULL, NULL, 5), "");
  EXPECT_TEXT(tolvana_localized_string_with_arguments("welcome.greeting", "Hi %{name}", names, NULL, 1),
              "Hi %{name}");
  EXPECT_TEXT(tolvana_localized_string_with_plural_rule("cart.items", "none", NULL, NULL, 3, 1),
              "%{count} Artikel im Warenkorb");
  tolvana_string_free(NULL);
  /* Switched off, this update ends inside the call: one still running would race the next
   * test's update to the server's texts. */
  tolvana_set_enabled(0);
  tolvana_update_groups(NULL, 4, NULL, 2, NULL, NULL);
  tolvana_set_enabled(1);
  tolvana_positions_reply_send(NULL, "{}");
  tolvana_options_init(NULL);

  /* The configured threshold (errors) holds back the warning this refusal logs. */
  int before = atomic_load(&logged.lines);
  CHECK(tolvana_set_screenshot_menu_visible(1) == 0);
  CHECK(atomic_load(&logged.lines) == before);
  tolvana_set_log_callback(NULL, NULL);
  EXPECT_TEXT(tolvana_localized_string(NULL), "");
  CHECK(atomic_load(&logged.lines) == before);
  tolvana_set_log_callback(on_log, NULL);
}

static void update_from_the_server(void) {
  static struct call_record result;
  reset_record(&result);
  CALL(&result, tolvana_update_with_changes(on_done_with_changes, &result));
  EXPECT_ONCE(&result, 1);
  EXPECT_TEXT(tolvana_localized_string("welcome.title"), "Willkommen in der Beispiel-App");
  EXPECT_TEXT(tolvana_localized_string("onboarding.step1"), "Lege dein Profil an");
  CHECK(atomic_load(&changed.calls) == 1 && changed.cause == TOLVANA_TEXTS_CHANGED_BY_UPDATE);
  CHECK(strcmp(changed.languages, "de,en") == 0);
  CHECK(changed.main_de.before == 1 && changed.main_de.after == 2 && changed.main_de.entries == 4);
  CHECK(reported.main_de.before == 1 && reported.main_de.after == 2 && reported.main_de.entries == 4);

  const char* groups[] = {"main"};
  const char* languages[] = {NULL, "fr"};
  reset_record(&result);
  CALL(&result, tolvana_update_groups(groups, 1, languages, 2, on_done, &result));
  EXPECT_ONCE(&result, 1);
  if (host_queue) CHECK(atomic_load(&wakeups) > 0);
}

/* Updates that cannot end as usual still call back once, with 0, from the main queue: asked
 * for on a second thread, so that a callback inside the call would show on that thread. */
static void* update_on_this_thread(void* record) {
  reset_record(record);
  CALL((struct call_record*)record, tolvana_update(on_done, record));
  return NULL;
}

static void* update_with_changes_on_this_thread(void* record) {
  reset_record(record);
  reported.groups = 99;
  CALL((struct call_record*)record, tolvana_update_with_changes(on_done_with_changes, record));
  return NULL;
}

static void update_on_a_second_thread(void* (*update)(void*), struct call_record* record) {
  pthread_t second;
  pthread_create(&second, NULL, update, record);
  pthread_join(second, NULL);
  EXPECT_ONCE(record, 0);
}

static void updates_that_cannot_end(void) {
  static struct call_record result;
  tolvana_set_enabled(0);
  CHECK(tolvana_enabled() == 0);
  update_on_a_second_thread(update_on_this_thread, &result);
  update_on_a_second_thread(update_with_changes_on_this_thread, &result);
  CHECK(reported.groups == 0);
  tolvana_set_enabled(1);
  CHECK(tolvana_enabled() == 1);

  char command[512];
  snprintf(command, sizeof command,
           "curl -fsS -o /dev/null -X POST -H 'Authorization: Bearer %s' -H 'Content-Type: application/json' "
           "-d '{\"status\":200,\"body\":\"OK\"}' %s/_test/faults",
           getenv("TOLVANA_DEMO_ADMIN_TOKEN"), getenv("TOLVANA_DEMO_SERVER"));
  CHECK(system(command) == 0);
  update_on_a_second_thread(update_on_this_thread, &result);
  CHECK(system(command) == 0);
  update_on_a_second_thread(update_with_changes_on_this_thread, &result);
  CHECK(reported.groups == 0);
}

static void provide_positions(tolvana_positions_reply* reply, void* user_data) {
  (void)user_data;
  tolvana_positions_reply_send(reply, "{\"TLStringPositions\":[]}");
}

static void language_modes_and_review(void) {
  atomic_store(&changed.calls, 0);
  CHECK(tolvana_set_language("fr") == 1);
  EXPECT_TEXT(tolvana_localized_string("welcome.title"), "Bienvenue dans l'application");
  EXPECT_TEXT(tolvana_device_language(), "fr");
  CHECK(wait_for(&changed.calls) == 1 && changed.cause == TOLVANA_TEXTS_CHANGED_BY_LANGUAGE_SWITCH);
  CHECK(strcmp(changed.languages, "fr") == 0);
  CHECK(tolvana_set_language("xx") == 0);
  tolvana_set_language(NULL);
  EXPECT_TEXT(tolvana_localized_string("welcome.title"), "Willkommen in der Beispiel-App");
  tolvana_set_texts_changed_callback(NULL, NULL);

  CHECK(tolvana_show_id_mode_enabled() == 0);
  tolvana_set_show_id_mode_enabled(1);
  CHECK(tolvana_show_id_mode_enabled() == 1);
  EXPECT_TEXT(tolvana_localized_string("welcome.title"), "welcome.title");
  tolvana_set_show_id_mode_enabled(0);

  /* Outside draft mode a capture is refused, and says so once, from the main queue. */
  static struct call_record shot;
  const char* keys[] = {"welcome.title", NULL};
  tolvana_set_screenshot_interface(provide_positions, NULL);
  tolvana_set_screenshot_interface(NULL, NULL);
  reset_record(&shot);
  CALL(&shot, tolvana_capture_screenshot("Home", keys, 2, 0, on_done, &shot));
  EXPECT_ONCE(&shot, 0);
  tolvana_capture_screenshot(NULL, NULL, 0, 1, NULL, NULL);
  tolvana_show_draft_mode_dialog();

  CHECK(tolvana_draft_mode_enabled() == 1);
  CHECK(tolvana_in_draft_mode() == 0);
  tolvana_set_draft_mode_enabled(0);
  CHECK(tolvana_draft_mode_enabled() == 0);
  for (int i = 0; i < 10; ++i) tick();
}

/* A reset erases the app's defaults, the switches with them; the stores stay. */
static void reset(void) {
  tolvana_set_enabled(0);
  tolvana_reset();
  CHECK(tolvana_enabled() == 1);
  EXPECT_TEXT(tolvana_localized_string("welcome.title"), "Willkommen in der Beispiel-App");
}

int main(int argc, char** argv) {
  host_queue = argc > 1 && strcmp(argv[1], "host-queue") == 0;
  main_thread = pthread_self();
  configure();
  shipped_archive();
  dictionaries();
  null_arguments_and_the_log();
  update_from_the_server();
  updates_that_cannot_end();
  language_modes_and_review();
  reset();
  if (failures) fprintf(stderr, "%d checks failed\n", failures);
  return failures ? 1 : 0;
}
