// The console's frame: sign-in, the project and language chosen, and the tabs.
import { api, el, SignedOut, token, say } from "./api.js";
import { CataloguesView } from "./catalogues.js";
import { MissingView } from "./missing.js";
import { IssuesView, ScreenshotsView } from "./screenshots.js";
import { StringsView } from "./strings.js";

const $ = (id) => document.getElementById(id);
const state = { projects: [], project: null, language: null, tab: "strings" };
const views = {};

state.fail = (error) => {
  if (error instanceof SignedOut) return signOut(error.message);
  say(`${state.tab}-status`, error.message, true);
  console.error(error);
};

state.openKey = (appKey) => {
  show("strings").then(() => views.strings.focus(appKey)).catch(state.fail);
};

function signOut(why = "") {
  token.clear();
  for (const id of ["tabs", "context", ...Object.keys(views)]) $(id).hidden = true;
  $("sign-in").hidden = false;
  $("sign-in-error").textContent = why;
  $("token").focus();
}

async function show(tab) {
  state.tab = tab;
  for (const name of Object.keys(views)) $(name).hidden = name !== tab;
  for (const button of document.querySelectorAll("#tabs button")) button.classList.toggle("active", button.dataset.tab === tab);
  if (state.project) await views[tab].load();
}

function chooseProject(id) {
  state.project = state.projects.find((p) => p.id === id) ?? state.projects[0];
  const languages = [...new Set([state.project.baseLanguage, ...state.project.languages])];
  // A translator works on a language other than the base one, if there is any.
  const preferred = languages.includes(state.language) ? state.language : languages[1] ?? languages[0];
  $("language").replaceChildren(...languages.map((l) => el("option", { value: l, selected: l === preferred }, l)));
  state.language = preferred;
}

async function start() {
  state.projects = await api.get("/projects");
  $("sign-in").hidden = true;
  $("tabs").hidden = $("context").hidden = false;
  if (!state.projects.length) {
    $("strings").hidden = false;
    return say("strings-status", "The server has no project yet: import one (tolvana-server import DIR).", true);
  }
  $("project").replaceChildren(...state.projects.map((p) => el("option", { value: p.id }, p.id)));
  chooseProject(state.projects[0].id);
  await show(state.tab);
}

function wire() {
  views.strings = new StringsView(state);
  views.missing = new MissingView(state);
  views.screenshots = new ScreenshotsView(state);
  views.issues = new IssuesView(state);
  views.catalogues = new CataloguesView(state);
  $("sign-in").addEventListener("submit", (event) => {
    event.preventDefault();
    token.set($("token").value.trim());
    $("token").value = "";
    start().catch(state.fail);
  });
  $("sign-out").addEventListener("click", () => signOut());
  for (const button of document.querySelectorAll("#tabs button")) {
    button.addEventListener("click", () => show(button.dataset.tab).catch(state.fail));
  }
  $("project").addEventListener("change", (event) => { chooseProject(event.target.value); show(state.tab).catch(state.fail); });
  $("language").addEventListener("change", (event) => { state.language = event.target.value; show(state.tab).catch(state.fail); });
}

// Edits by others reach an open strings page within seconds. Asking for the revision is one
// small read, where a held-open request would keep one of the server's threads per open tab.
const CATCH_UP_EVERY_MS = 2000;
setInterval(() => {
  if (token.get() && state.project && state.tab === "strings" && !document.hidden) {
    views.strings.catchUp().catch(state.fail);
  }
}, CATCH_UP_EVERY_MS);

wire();
if (token.get()) start().catch(state.fail);
else signOut();
