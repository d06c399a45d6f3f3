/** Loads a library that is to refuse; prints what the virtual machine threw. */
public final class LoadRefused {
    public static void main(String[] args) {
        try {
            System.load(args[0]);
            System.out.println("loaded");
        } catch (LinkageError e) {
            System.out.println(e.getClass().getName());
        }
    }
}
