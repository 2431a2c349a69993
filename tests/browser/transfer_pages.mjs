// The transfer pages in a real browser: headless Chromium opens the index page served by
// `numbrel-cli serve`, uploads a backup through the form, finds it listed and downloads it again,
// without and with a password (the digest challenge in both of its hashes, Basic beside it).
//
// node --test transfer_pages.mjs   with NUMBREL_CLI naming the command-line tool.
import { test, before, after } from 'node:test';
import assert from 'node:assert/strict';
import { spawn, execFileSync } from 'node:child_process';
import { createInterface } from 'node:readline';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { chromium } from 'playwright-core';

const cli = process.env.NUMBREL_CLI;
const scratch = fs.mkdtempSync(path.join(os.tmpdir(), 'numbrel-browser-'));
let browser;
let backup; // a backup made by the tool itself, as a phone would carry it

function runCli(...args) {
    return execFileSync(cli, args, { env: { ...process.env, XDG_CONFIG_HOME: path.join(scratch, 'config') } });
}

// Starts the server on an empty Documents folder and resolves to { url, docs, stop }.
function serve(name, ...args) {
    const docs = path.join(scratch, name);
    fs.mkdirSync(docs);
    const child = spawn(cli, ['--documents', docs, 'serve', '--bind', '127.0.0.1', ...args], {
        env: { ...process.env, XDG_CONFIG_HOME: path.join(scratch, 'config') },
        stdio: ['ignore', 'pipe', 'inherit'],
    });
    const exited = new Promise((resolve) => child.on('exit', (code, signal) => resolve(code ?? signal)));
    return new Promise((resolve, reject) => {
        const lines = createInterface({ input: child.stdout });
        lines.once('line', (url) => {
            assert.match(url, /^http:\/\/127\.0\.0\.1:\d+\/$/);
            resolve({
                url,
                docs,
                stop: async () => {
                    child.kill('SIGTERM');
                    return exited;
                },
            });
        });
        child.once('exit', (code) => reject(new Error(`serve ended with ${code} before printing its address`)));
    });
}

before(async () => {
    const store = path.join(scratch, 'store.plist');
    const made = path.join(scratch, 'made');
    runCli('--store', store, 'meter', 'add', 'Electricity');
    runCli('--store', store, '--documents', made, 'backup');
    const name = fs.readdirSync(made).find((n) => n.endsWith('.bak'));
    assert.ok(name, 'the tool made a backup');
    // A name with a space and an umlaut, as a person renames a file before copying it over.
    backup = path.join(scratch, 'Zähler März.bak');
    fs.copyFileSync(path.join(made, name), backup);
    browser = await chromium.launch({
        executablePath: '/usr/bin/chromium',
        args: ['--no-sandbox', '--disable-gpu', '--disable-background-networking'],
    });
});

after(async () => {
    await browser?.close();
    fs.rmSync(scratch, { recursive: true, force: true });
});

// Opens the index page, uploads the backup, and downloads it from the listing.
async function roundTrip(server, contextOptions = {}) {
    const context = await browser.newContext({ acceptDownloads: true, ...contextOptions });
    try {
        const page = await context.newPage();
        const opened = await page.goto(server.url);
        assert.equal(opened.status(), 200);
        assert.match(await page.content(), /No backups found/);

        await page.setInputFiles('#file', backup);
        const [posted] = await Promise.all([page.waitForNavigation(), page.click('#button')]);
        assert.equal(posted.status(), 200);

        const saved = path.join(server.docs, 'Zähler März.bak');
        assert.deepEqual(fs.readFileSync(saved), fs.readFileSync(backup), 'the upload is the file, byte for byte');
        assert.deepEqual(
            fs.readdirSync(server.docs).filter((n) => n.startsWith('.')),
            [],
            'no temporary file is left behind',
        );

        const link = page.getByRole('link', { name: 'Zähler März.bak' });
        assert.equal(await link.count(), 1, 'the upload is listed');
        const [download] = await Promise.all([page.waitForEvent('download'), link.click()]);
        assert.equal(download.suggestedFilename(), 'Zähler März.bak');
        assert.deepEqual(fs.readFileSync(await download.path()), fs.readFileSync(backup));
    } finally {
        await context.close();
    }
}

test('upload and download without a password', async () => {
    const server = await serve('open');
    try {
        await roundTrip(server);
    } finally {
        assert.equal(await server.stop(), 0);
    }
});

for (const digest of ['md5', 'sha-256']) {
    test(`upload and download behind a password (${digest} digest challenge)`, async () => {
        const server = await serve(`closed-${digest}`, '--password', 'wärme 42', '--digest', digest);
        try {
            // Without credentials, or with the wrong password, the folder stays closed: the server
            // answers with the challenge alone, and the browser gives up on the page.
            const bare = await fetch(server.url);
            assert.equal(bare.status, 401);
            assert.doesNotMatch(await bare.text(), /form1/);
            const refusal = async (httpCredentials) => {
                const stranger = await browser.newContext({ httpCredentials });
                try {
                    return await (await stranger.newPage()).goto(server.url).then(
                        (response) => response.status(),
                        (error) => error.message.match(/ERR_INVALID_AUTH_CREDENTIALS/)?.[0] ?? error.message,
                    );
                } finally {
                    await stranger.close();
                }
            };
            assert.equal(await refusal(undefined), 'ERR_INVALID_AUTH_CREDENTIALS');
            assert.equal(await refusal({ username: 'household', password: 'warme 42' }), 401);

            await roundTrip(server, { httpCredentials: { username: 'household', password: 'wärme 42' } });
        } finally {
            assert.equal(await server.stop(), 0);
        }
    });
}
