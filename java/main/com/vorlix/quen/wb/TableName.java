package com.vorlix.quen.wb;

import java.nio.charset.StandardCharsets;
import java.util.Objects;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/** Which table library is meant, in the forms that the natives and the loader take. */
final class TableName {
    private static final Pattern FILE = Pattern.compile("libwb_tables_([^/$\0]+)_(-?[0-9]{1,10})\\.so");

    final String wbid;
    final int version;
    /** For the natives, which do not change it. */
    final byte[] wbidBytes;

    private TableName(String wbid, int version) {
        this.wbid = wbid;
        this.version = version;
        this.wbidBytes = wbid.getBytes(StandardCharsets.UTF_8);
    }

    static TableName of(String wbid, int version) throws TableLibraryException {
        Objects.requireNonNull(wbid, "wbid");
        TableName name = new TableName(wbid, version);
        if (!FILE.matcher(name.fileName()).matches()) {
            throw new TableLibraryException("\"" + wbid + "\" is no white-box id: it is a name, not empty, without"
                    + " slash and dollar sign. Pass the wbid of the table library's manifest.");
        }
        return name;
    }

    /** The table library that a file of this name holds; null if the name is no such name. */
    static TableName ofFile(String fileName) {
        Matcher matcher = FILE.matcher(fileName);
        try {
            return matcher.matches() ? new TableName(matcher.group(1), Integer.parseInt(matcher.group(2))) : null;
        } catch (NumberFormatException e) {
            return null; // beyond what a version can be
        }
    }

    /** As {@link System#loadLibrary} takes it. */
    String libraryName() {
        return "wb_tables_" + wbid + "_" + version;
    }

    String fileName() {
        return "lib" + libraryName() + ".so";
    }

    @Override
    public boolean equals(Object other) {
        return other instanceof TableName && fileName().equals(((TableName) other).fileName());
    }

    @Override
    public int hashCode() {
        return fileName().hashCode();
    }

    @Override
    public String toString() {
        return fileName();
    }
}
