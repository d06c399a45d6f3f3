package com.vorlix.quen.wb;

import java.io.BufferedReader;
import java.io.DataInputStream;
import java.io.File;
import java.io.FileInputStream;
import java.io.IOException;
import java.io.InputStreamReader;
import java.nio.charset.StandardCharsets;
import java.util.Map;
import java.util.concurrent.ConcurrentHashMap;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/** The table libraries as files: loads them, and tells what is wrong with one that the natives refuse. */
final class TableFiles {
    private static final String LOAD = "TableLibrary.load(Path)";
    /** A table library has its own name in it, under which the loader knows it whatever its file is called. */
    private static final Pattern OWN_NAME = Pattern.compile("libwb_tables_[!-.0-~]+?_-?[0-9]+\\.so(?=\0)");
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
            if (LoadFailure.of(e) != LoadFailure.OTHER_LOADER) { // in the process it is, which is all that matters
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
            return LoadFailure.of(e) == LoadFailure.OTHER_LOADER ? null : e;
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

    /** The name that the file's contents have; the expected one if they have it or none. */
    private static String ownName(File file, String expected) {
        byte[] contents = new byte[(int) Math.min(file.length(), 64 << 20)];
        try (DataInputStream in = new DataInputStream(new FileInputStream(file))) {
            in.readFully(contents);
        } catch (IOException e) {
            return expected;
        }
        Matcher names = OWN_NAME.matcher(new String(contents, StandardCharsets.ISO_8859_1));
        String found = null;
        while (names.find()) {
            if (names.group().equals(expected)) {
                return expected;
            }
            found = names.group();
        }
        return found == null ? expected : found;
    }
}
