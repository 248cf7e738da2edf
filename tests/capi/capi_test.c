/* Every function of the C interface against the demo app, run by tests/with-demo-app: the
 * shipped archive first, then the server's texts after an update. Built as strict C11, so
 * the header stays C. Exit status 0 when every check held. */
#define _POSIX_C_SOURCE 200809L

#include <stdatomic.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

#include <tolvana/tolvana.h>

static int failures = 0;

#define CHECK(condition)                                              \
  do {                                                                \
    if (!(condition)) {                                               \
      fprintf(stderr, "%s:%d: failed: %s\n", __FILE__, __LINE__, #condition); \
      ++failures;                                                     \
    }                                                                 \
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

struct update_result {
  atomic_int calls;
  atomic_int success;
};

static void on_update(int success, void* user_data) {
  struct update_result* result = user_data;
  atomic_store(&result->success, success);
  atomic_fetch_add(&result->calls, 1);
}

/* Waits up to 30 s for the callback. */
static int wait_for(struct update_result* result) {
  struct timespec tick = {0, 50 * 1000 * 1000};
  for (int i = 0; i < 600 && atomic_load(&result->calls) == 0; ++i) nanosleep(&tick, NULL);
  return atomic_load(&result->calls);
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

  char* device = tolvana_device_language();
  CHECK(device && strncmp(device, "de", 2) == 0);
  tolvana_string_free(device);
}

static void null_arguments(void) {
  const char* names[] = {"name"};
  EXPECT_TEXT(tolvana_localized_string(NULL), "");
  EXPECT_TEXT(tolvana_localized_string_with_default(NULL, "x"), "");
  EXPECT_TEXT(tolvana_localized_string_with_arguments(NULL, NULL, NULL, NULL, 5), "");
  EXPECT_TEXT(tolvana_localized_string_with_arguments("welcome.greeting", "Hi %{name}", names, NULL, 1),
              "Hi %{name}");
  EXPECT_TEXT(tolvana_localized_string_with_plural_rule("cart.items", "none", NULL, NULL, 3, 1),
              "%{count} Artikel im Warenkorb");
  tolvana_string_free(NULL);
  tolvana_update_groups(NULL, 4, NULL, 2, NULL, NULL);
}

static void update_from_the_server(void) {
  /* Static: the library may still call back after wait_for gave up and this function returned. */
  static struct update_result result;
  atomic_init(&result.calls, 0);
  atomic_init(&result.success, 0);
  tolvana_update(on_update, &result);
  CHECK(wait_for(&result) == 1);
  CHECK(atomic_load(&result.success) == 1);
  EXPECT_TEXT(tolvana_localized_string("welcome.title"), "Willkommen in der Beispiel-App");
  EXPECT_TEXT(tolvana_localized_string("onboarding.step1"), "Lege dein Profil an");

  const char* groups[] = {"main"};
  const char* languages[] = {NULL, "fr"};
  atomic_store(&result.calls, 0);
  tolvana_update_groups(groups, 1, languages, 2, on_update, &result);
  CHECK(wait_for(&result) == 1);
  CHECK(atomic_load(&result.success) == 1);
}

static void language_and_modes(void) {
  CHECK(tolvana_set_language("fr") == 1);
  EXPECT_TEXT(tolvana_localized_string("welcome.title"), "Bienvenue dans l'application");
  EXPECT_TEXT(tolvana_device_language(), "fr");
  CHECK(tolvana_set_language("xx") == 0);
  tolvana_set_language(NULL);
  EXPECT_TEXT(tolvana_localized_string("welcome.title"), "Willkommen in der Beispiel-App");

  CHECK(tolvana_show_id_mode_enabled() == 0);
  tolvana_set_show_id_mode_enabled(1);
  CHECK(tolvana_show_id_mode_enabled() == 1);
  EXPECT_TEXT(tolvana_localized_string("welcome.title"), "welcome.title");
  tolvana_set_show_id_mode_enabled(0);

  CHECK(tolvana_draft_mode_enabled() == 1);
  CHECK(tolvana_in_draft_mode() == 0);
  tolvana_set_draft_mode_enabled(0);
  CHECK(tolvana_draft_mode_enabled() == 0);
}

int main(void) {
  shipped_archive();
  null_arguments();
  update_from_the_server();
  language_and_modes();
  if (failures) fprintf(stderr, "%d checks failed\n", failures);
  return failures ? 1 : 0;
}
