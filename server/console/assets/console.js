// The console's frame: sign-in, the project and language chosen, and the tabs.
import { api, el, loadSession, may, session, signOut, SignedOut, say, toSignIn } from "./api.js";
import { CataloguesView } from "./catalogues.js";
import { MissingView } from "./missing.js";
import { IssuesView, ScreenshotsView } from "./screenshots.js";
import { StringsView } from "./strings.js";
import { UsersView } from "./users.js";

const $ = (id) => document.getElementById(id);
const state = { projects: [], project: null, language: null, tab: "strings" };
const views = {};

state.fail = (error) => {
  if (error instanceof SignedOut) return toSignIn();
  say(`${state.tab}-status`, error.message, true);
  console.error(error);
};

state.openKey = (appKey) => {
  show("strings").then(() => views.strings.focus(appKey)).catch(state.fail);
};

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
  await loadSession();
  $("who").textContent = `${session.name} (${session.role})`;
  // What the role may not do is not offered; the server refuses it all the same.
  for (const node of document.querySelectorAll("[data-needs]")) node.hidden = !may(node.dataset.needs);
  state.projects = await api.get("/projects");
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
  views.users = new UsersView(state);
  views.catalogues = new CataloguesView(state);
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
  if (session.role && state.project && state.tab === "strings" && !document.hidden) {
    views.strings.catchUp().catch(state.fail);
  }
}, CATCH_UP_EVERY_MS);

wire();
start().catch(state.fail);
