// Strings apps looked up and did not find: accepted into the project in one step.
import { api, el, may, projectPath, say, when } from "./api.js";

export class MissingView {
  constructor(state) {
    this.state = state;
  }

  async load() {
    const missing = await api.get(`${projectPath(this.state.project.id)}/missing`);
    missing.sort((a, b) => (a.acceptedAt !== null) - (b.acceptedAt !== null) || b.lastSeen - a.lastSeen);
    const open = missing.filter((m) => m.acceptedAt === null).length;
    document.getElementById("missing-count").textContent = `${open} waiting, ${missing.length - open} accepted`;
    document.querySelector("#missing-table tbody").replaceChildren(...missing.map((m) => this.rowElement(m)));
  }

  rowElement(m) {
    const action = m.acceptedAt !== null ? el("span", { class: "muted" }, `accepted ${when(m.acceptedAt)}`)
      : !may("translator") ? el("span", { class: "muted" }, "waiting")
      : el("button", { type: "button", class: "accept", onclick: () => this.accept(m).catch(this.state.fail) }, "Accept");
    return el("tr", { dataset: { key: m.key, language: m.language } },
      el("td", {}, m.language), el("td", { class: "key" }, m.key), el("td", {}, m.value),
      el("td", {}, m.count), el("td", {}, m.appVersion), el("td", {}, when(m.firstSeen)), el("td", {}, when(m.lastSeen)),
      el("td", {}, action));
  }

  async accept(m) {
    const publish = may("admin") && document.getElementById("accept-publish").checked;
    const answer = await api.post(`${projectPath(this.state.project.id)}/missing/accept`,
      { keys: [{ language: m.language, key: m.key }], publish });
    const added = answer.added.length;
    say("missing-status", added
      ? `Accepted ${m.key}${publish ? " and published it" : " as a draft: publish it from Strings"}.`
      : `${m.key} was already in the project.`);
    await this.load();
  }
}
