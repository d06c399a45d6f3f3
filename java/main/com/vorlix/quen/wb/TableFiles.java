package com.vorlix.quen.wb;

import java.io.BufferedInputStream;
import java.io.BufferedReader;
import java.io.File;
import java.io.FileInputStream;
import java.io.IOException;
import java.io.InputStream;
import java.io.InputStreamReader;
import java.nio.charset.StandardCharsets;
import java.util.Map;
import java.util.concurrent.ConcurrentHashMap;

/** The table libraries as files: loads them, and tells what is wrong with one that the natives refuse. */
final class TableFiles {
    private static final String LOAD = "TableLibrary.load(Path)";
    /** The bytes of a name that the natives take, at most. */
    private static final int LONGEST_NAME = 199;
    private static final Map<String, File> LOADED = new ConcurrentHashMap<>();

    private TableFiles() {}

    /** Makes the library in this file available to the natives. */
    static void load(File file) throws TableLibraryException {
        TableName name = TableName.ofFile(file.getName());
        if (name == null) {
            throw new TableLibraryException(file + " has not the name of a table library. Keep the name that it was"
                    + " built with, libwb_tables_WBID_VERSION.so.");
        }
        if (!file.isFile()) {
            throw new TableLibraryException("There is no file " + file.getAbsolutePath() + ". Pass the path of a table"
                    + " library that exists.");
        }
        try {
            System.load(file.getAbsolutePath());
        } catch (UnsatisfiedLinkError e) {
            if (LoadFailure.of(e, file.getPath()) != LoadFailure.OTHER_LOADER) { // else it is in the process: enough
                throw new TableLibraryException(LoadFailure.describe(e, file.getAbsolutePath(), LOAD), e);
            }
        }
        LOADED.put(name.fileName(), file);
    }

    /** Loads the library from where the platform has libraries. Null if that went well. */
    static UnsatisfiedLinkError tryToLoad(TableName name) {
        try {
            System.loadLibrary(name.libraryName());
            return null;
        } catch (UnsatisfiedLinkError e) {
            return LoadFailure.of(e, name.fileName()) == LoadFailure.OTHER_LOADER ? null : e;
        }
    }

    /** What is wrong with the library as a file; null if nothing is. */
    static TableLibraryException problem(TableName name) {
        UnsatisfiedLinkError error = tryToLoad(name);
        File file = find(name.fileName());
        if (file == null) {
            return error == null ? null
                    : new TableLibraryException(LoadFailure.describe(error, name.fileName(), LOAD), error);
        }
        String ownName = ownName(file, name.fileName());
        if (ownName.equals(name.fileName())) {
            return null;
        }
        return new TableLibraryException(file + " is not " + name.fileName() + ": it was built as " + ownName
                + ". Give the file its name back and open that white-box id and version, or build the one that is asked"
                + " for.");
    }

    private static File find(String fileName) {
        File loaded = LOADED.get(fileName);
        return loaded != null ? loaded : findMapped(fileName);
    }

    /** The natives find libraries on ways of their own; what they opened once stays in the process. */
    private static File findMapped(String fileName) {
        try (BufferedReader maps = new BufferedReader(
                new InputStreamReader(new FileInputStream("/proc/self/maps"), StandardCharsets.UTF_8))) {
            for (String line = maps.readLine(); line != null; line = maps.readLine()) {
                if (line.endsWith("/" + fileName)) {
                    return new File(line.substring(line.indexOf('/')));
                }
            }
        } catch (IOException e) {
            return null; // another system: then nobody knows
        }
        return null;
    }

    /**
     * The name that the file's contents have; the expected one if they have it or none. A table library has its own
     * name in it, as a text between zeros, under which the loader knows it whatever its file is called.
     */
    private static String ownName(File file, String expected) {
        String found = expected;
        try (InputStream in = new BufferedInputStream(new FileInputStream(file), 64 << 10)) {
            byte[] text = new byte[LONGEST_NAME + 1]; // full: a text that is too long
            for (int length = nextText(in, text); length >= 0; length = nextText(in, text)) {
                String name = new String(text, 0, length, StandardCharsets.UTF_8);
                if (name.equals(expected)) {
                    return expected;
                }
                found = length <= LONGEST_NAME && TableName.ofFile(name) != null ? name : found;
            }
        } catch (IOException e) {
            return expected;
        }
        return found;
    }

    /** Reads up to the next zero. Returns how much of the text is in the array; below zero if there is no other. */
    private static int nextText(InputStream in, byte[] text) throws IOException {
        int length = 0;
        int next = in.read();
        for (; next > 0; next = in.read()) {
            if (length < text.length) {
                text[length++] = (byte) next;
            }
        }
        return next < 0 ? -1 : length;
    }
}
