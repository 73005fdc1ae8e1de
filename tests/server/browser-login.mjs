// Signs in on the service's login page in a real browser (Debian's chromium,
// headless, driven by playwright-core) and prints, as one JSON line, where the
// browser was sent afterwards: {"status": 302, "location": "tessly://login?..."}.
//
//   node browser-login.mjs LOGIN_URL EMAIL PASSWORD
import { chromium } from 'playwright-core';
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

const [loginUrl, email, password] = process.argv.slice(2);
if (!password) {
  console.error('usage: node browser-login.mjs LOGIN_URL EMAIL PASSWORD');
  process.exit(2);
}

const profile = mkdtempSync(join(tmpdir(), 'tessly-browser-'));
const context = await chromium.launchPersistentContext(profile, {
  executablePath: process.env.TESSLY_CHROMIUM || '/usr/bin/chromium',
  headless: true,
  args: ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
         '--disable-background-networking', '--disable-component-update', '--disable-sync'],
  timeout: 60000,
});
try {
  const page = context.pages()[0] ?? await context.newPage();
  await page.goto(loginUrl, { timeout: 30000 });
  await page.fill('input[name="email"]', email);
  await page.fill('input[name="password"]', password);
  const answer = page.waitForResponse(
    (response) => response.request().method() === 'POST' && response.url().includes('/auth/login'),
    { timeout: 30000 });
  await page.click('button[type="submit"]');
  const response = await answer;
  console.log(JSON.stringify({ status: response.status(), location: response.headers()['location'] ?? '' }));
} finally {
  await context.close();
  rmSync(profile, { recursive: true, force: true });
}
