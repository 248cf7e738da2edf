// The class Tolvana against the demo app's shipped stores: what the binding converts (texts,
// nil, dictionaries, arrays, numbers, blocks) and that each selector reaches its engine call.
#import "ObjCTestSupport.h"
#import "tolvana/objc/Tolvana.h"

namespace {

TEST(Facade, LookUpsConvertTextsArgumentsAndNil) {
  struct Case {
    NSString* (^lookUp)(void);
    const char* expected;
  };
  NSDictionary* four = [NSDictionary dictionaryWithObject:[NSNumber numberWithInt:4] forKey:@"count"];
  const Case cases[] = {
      {^{ return [Tolvana localizedStringForKey:@"welcome.title"]; }, "Willkommen"},
      {^{ return [Tolvana localizedStringForKey:@"no.such.key"]; }, "no.such.key"},
      {^{ return [Tolvana localizedStringForKey:@"no.such.key" withDefaultValue:@"Grüße"]; }, "Grüße"},
      {^{ return [Tolvana localizedStringForKey:nil]; }, "(nil)"},
      {^{ return [Tolvana localizedStringForKey:@"x" withDefaultValue:@"%{a} und %{b}"
                                    andArguments:[NSDictionary dictionaryWithObjectsAndKeys:@"Ä", @"a", @"ß", @"b", nil]]; },
       "Ä und ß"},
      {^{ return [Tolvana localizedStringForKey:@"cart.items" withArguments:four
                                  andPluralRule:[Tolvana pluralRuleForQuantity:4]]; },
       "4 Artikel im Warenkorb"},
      {^{ return [Tolvana localizedStringForKey:@"cart.items[one]" withArguments:four]; }, "4 Artikel im Warenkorb"},
      {^{ return [Tolvana sdkVersion]; }, "2.0.149"},
      // A host's wrong kind of object is ignored, not raised about.
      {^{ return [Tolvana localizedStringForKey:@"x" withDefaultValue:@"%{a}"
                                    andArguments:(NSDictionary*)[NSArray arrayWithObject:@"a"]]; },
       "%{a}"},
      {^{ return [[[Tolvana localizeMap:(NSDictionary*)@"en"] allKeys] componentsJoinedByString:@","]; }, ""},
  };
  for (const auto& c : cases) EXPECT_EQ(str(c.lookUp()), c.expected);
}

TEST(Facade, TablesAndMapsComeBackAsDictionaries) {
  EXPECT_EQ(str([[Tolvana localizedStringsForLanguage:@"fr"] objectForKey:@"welcome.title"]), "Bienvenue");
  EXPECT_EQ(str([[Tolvana localizedStringsForCurrentLanguage] objectForKey:@"welcome.title"]), "Willkommen");
  NSDictionary* wanted = [NSDictionary
      dictionaryWithObjectsAndKeys:[NSDictionary dictionaryWithObject:@"Default" forKey:@"welcome.title"], @"en",
                                   [NSDictionary dictionaryWithObject:@"Défaut" forKey:@"nothing.here"], @"fr", nil];
  NSDictionary* texts = [Tolvana localizeMap:wanted];
  EXPECT_EQ(str([[texts objectForKey:@"en"] objectForKey:@"welcome.title"]), "Welcome");
  EXPECT_EQ(str([[texts objectForKey:@"fr"] objectForKey:@"nothing.here"]), "Défaut");
}

TEST(Facade, SwitchesReachTheEngine) {
  EXPECT_TRUE([Tolvana setLanguage:@"fr"]);
  EXPECT_EQ(str([Tolvana localizedStringForKey:@"welcome.title"]), "Bienvenue");
  EXPECT_FALSE([Tolvana setLanguage:@"xx"]);
  EXPECT_TRUE([Tolvana setLanguage:nil]);
  EXPECT_EQ(str([Tolvana localizedStringForKey:@"welcome.title"]), "Willkommen");

  [Tolvana setShowIdModeEnabled:YES];
  EXPECT_EQ(str([Tolvana localizedStringForKey:@"welcome.title"]), "welcome.title");
  [Tolvana setShowIdModeEnabled:NO];

  [Tolvana setEnabled:NO];
  EXPECT_FALSE([Tolvana enabled]);
  EXPECT_EQ(str([Tolvana localizedStringForKey:@"settings.title"]), "Einstellungen");  // the bundle's own table
  EXPECT_EQ(str([Tolvana localizedStringForKey:@"cart.items[one]"]), "cart.items[one]");
  [Tolvana setEnabled:YES];
  EXPECT_TRUE([Tolvana enabled]);
}

}  // namespace
