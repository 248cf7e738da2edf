// The console's accounts, for admins: add one, change a role, remove one. A changed or removed
// account is signed out everywhere by the server.
import { api, el, say, session, when } from "./api.js";

const ROLES = ["viewer", "translator", "admin"];
const accountPath = (name) => `/accounts/${encodeURIComponent(name)}`;

export class UsersView {
  constructor(state) {
    this.state = state;
    document.getElementById("add-user").addEventListener("submit", (event) => {
      event.preventDefault();
      this.add(event.target).catch(state.fail);
    });
  }

  async load() {
    const accounts = await api.get("/accounts");
    document.querySelector("#users-table tbody").replaceChildren(...accounts.map((a) => this.rowElement(a)));
  }

  rowElement(account) {
    const role = el("select", {
      "aria-label": `Role of ${account.name}`,
      onchange: (event) => this.change(account, event.target.value).catch(this.state.fail),
    }, ROLES.map((r) => el("option", { value: r, selected: r === account.role }, r)));
    const remove = el("button", {
      type: "button", onclick: () => this.remove(account).catch(this.state.fail),
    }, "Remove");
    return el("tr", { dataset: { name: account.name } },
      el("td", { class: "key" }, account.name, account.name === session.name ? el("span", { class: "badge" }, "you") : null),
      el("td", {}, role), el("td", {}, when(account.createdAt)), el("td", {}, remove));
  }

  async add(form) {
    const field = (name) => form.elements.namedItem(name).value;
    const account = { name: field("name").trim(), password: field("password"), role: field("role") };
    await api.post("/accounts", account);
    form.reset();
    say("users-status", `Added ${account.name} (${account.role}).`);
    await this.load();
  }

  async change(account, role) {
    await api.patch(accountPath(account.name), { role });
    say("users-status", `${account.name} is a ${role} now, and signs in again.`);
    await this.load();
  }

  async remove(account) {
    if (!confirm(`Remove ${account.name}?`)) return;
    await api.del(accountPath(account.name));
    say("users-status", `Removed ${account.name}.`);
    await this.load();
  }
}
